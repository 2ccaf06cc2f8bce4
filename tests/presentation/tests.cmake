wakeline_widget_test(presentation_tests
  presentation/ProgressWindowTest.cpp
  presentation/MetricsTableTest.cpp
  presentation/MetricsGraphTest.cpp
  presentation/MetricsOverlayTest.cpp
  presentation/VideoPlaybackTest.cpp
  presentation/VideoSoundTest.cpp
  presentation/VideoViewTest.cpp
  presentation/UndoTest.cpp
  media/VideoFixtures.cpp
  presentation/ExportTest.cpp
  presentation/ScreenCaptureTest.cpp
  media/MediaFixtures.cpp
)
# The export tests make photos with EXIF dates through the media fixtures.
target_link_libraries(presentation_tests PRIVATE exiv2lib)
