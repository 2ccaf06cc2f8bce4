# Tests of the media group editor and its edits.
target_sources(config_tests PRIVATE config/MediaGroupConfigTest.cpp)
# Real photos and videos to add, made by the media tests' fixtures.
target_sources(config_tests PRIVATE media/MediaFixtures.cpp)
target_link_libraries(config_tests PRIVATE exiv2lib)
