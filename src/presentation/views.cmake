target_sources(wakeline_ui PRIVATE
  app/ProgressViewController.cpp
  app/ProgressViewController.h
  app/ProgressWindowController.cpp
  app/ProgressWindowController.h
  presentation/MetricsTableViewController.cpp
  presentation/MetricsTableViewController.h
  presentation/VideoPlaybackViewController.cpp
  presentation/VideoPlaybackViewController.h
)
