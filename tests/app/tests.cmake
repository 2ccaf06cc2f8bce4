# The desktop program's shell: windows, documents, menus, the render verb, and one real window
# under Xvfb.
wakeline_widget_test(shell_tests app/ShellFixture.cpp app/PresentationWindowTest.cpp app/DocumentControllerTest.cpp
  app/RenderAndSmokeTest.cpp app/CrashReporterTest.cpp)
find_program(XVFB_RUN xvfb-run)
if(XVFB_RUN)
  target_compile_definitions(shell_tests PRIVATE XVFB_RUN="${XVFB_RUN}")
endif()
