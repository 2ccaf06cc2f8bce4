wakeline_widget_test(map_widget_tests map/MapViewTest.cpp map/TileSourceTest.cpp map/RaceMapWidgetTest.cpp
  map/TrackColorWidgetTest.cpp)
