target_sources(wakeline_ui PRIVATE
  presentation/DocumentObservingViewController.cpp
  presentation/DocumentObservingViewController.h
  presentation/PresentationLayout.cpp
  presentation/PresentationWindowController.cpp
  presentation/PresentationWindowController.h
  presentation/StateRecordValues.h
  presentation/ViewFactory.cpp
  presentation/MediaCommands.cpp
  presentation/MediaCommands.h
)
