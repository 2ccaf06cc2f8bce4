# Editors of the event and the import of boat logs through the converter process.
wakeline_widget_test(config_tests
  config/StreamReaderTest.cpp
  config/FakeConverter.cpp
  config/LogImportTest.cpp
  config/LogImportControllerTest.cpp
  config/PreferencesTest.cpp
  config/ConfigWindowTest.cpp
)
# The real converter is found beside the test binary, as beside the program.
add_dependencies(config_tests logutils-cli)
include(config/boat.cmake)
include(config/mediagroup.cmake)
