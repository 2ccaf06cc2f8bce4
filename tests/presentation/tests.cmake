wakeline_widget_test(presentation_tests
  presentation/ProgressWindowTest.cpp
  presentation/MetricsTableTest.cpp
  presentation/VideoPlaybackTest.cpp
)
