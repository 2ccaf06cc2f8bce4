# Editors of the event and the import of boat logs through the converter process.
wakeline_widget_test(config_tests
  config/StreamReaderTest.cpp
  config/FakeConverter.cpp
  config/LogImportTest.cpp
  config/LogImportControllerTest.cpp
  config/PreferencesTest.cpp
  config/ConfigWindowTest.cpp
  config/BoatConfigTest.cpp
  config/MediaGroupConfigTest.cpp
  config/MetricsConfigTest.cpp
  # real photos and videos to add
  media/MediaFixtures.cpp
)
# The real converter is found beside the test binary, as beside the program.
add_dependencies(config_tests logutils-cli)
target_link_libraries(config_tests PRIVATE exiv2lib)
