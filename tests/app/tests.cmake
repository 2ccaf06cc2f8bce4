# The desktop program's shell: windows, documents, menus, the render verb, and one real window
# under Xvfb.
wakeline_widget_test(shell_tests app/ShellFixture.cpp app/PresentationWindowTest.cpp app/DocumentControllerTest.cpp
  app/RenderAndSmokeTest.cpp app/ExportVideoTest.cpp app/CrashReporterTest.cpp app/SavingAndRecoveryTest.cpp app/MediaDropTest.cpp
  media/VideoFixtures.cpp)
# The export test reads the films it makes through libavformat.
target_link_libraries(shell_tests PRIVATE PkgConfig::FFMPEG)
find_program(XVFB_RUN xvfb-run)
if(XVFB_RUN)
  target_compile_definitions(shell_tests PRIVATE XVFB_RUN="${XVFB_RUN}")
endif()
# A program the recovery test kills with -9 after an edit.
add_executable(recovery_child app/RecoveryChild.cpp)
target_link_libraries(recovery_child PRIVATE wakeline_ui)
add_dependencies(shell_tests recovery_child)
target_compile_definitions(shell_tests PRIVATE RECOVERY_CHILD="$<TARGET_FILE:recovery_child>")
