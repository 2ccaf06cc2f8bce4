target_sources(wakeline_ui PRIVATE
  app/AppDelegate.cpp
  app/AppDelegate.h
  app/CrashReporter.cpp
  app/DocumentController.cpp
  app/DocumentController.h
  app/MainMenu.cpp
  app/OpeningProgress.cpp
  app/PackageSave.cpp
  app/RecoveryScheduler.cpp
  app/RecoveryScheduler.h
  app/RenderCommand.cpp
  app/ExportVideoCommand.cpp
  app/PackageOpening.cpp
  app/VerbArguments.cpp
  app/StandardViews.cpp
  app/WindowController.cpp
  app/WindowController.h
)
target_compile_definitions(wakeline_ui PRIVATE WAKELINE_VERSION="${PROJECT_VERSION}")
list(APPEND WAKELINE_IMAGES Wakeline.svg)
