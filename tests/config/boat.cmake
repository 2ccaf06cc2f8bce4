# Tests of the boat editor and its edits.
target_sources(config_tests PRIVATE config/BoatConfigTest.cpp)
