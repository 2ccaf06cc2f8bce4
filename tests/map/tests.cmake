# The race map's logic, without a screen.
wakeline_test(map_tests map/MapGeometryTest.cpp map/BoatMapAnnotationGroupTest.cpp map/RaceMapTest.cpp
  map/TrackColoringTest.cpp)
