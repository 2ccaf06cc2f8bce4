# The race map's widgets: the map view, its backgrounds and annotation views, and the view
# controller that ties the map's logic to a document.
target_sources(wakeline_ui PRIVATE
  map/BoatLabelAnnotationView.cpp
  map/BoatLabelAnnotationView.h
  map/MapAnnotationView.cpp
  map/MapAnnotationView.h
  map/MapOverlayPainter.cpp
  map/MapOverlayPainter.h
  map/MapView.cpp
  map/MapView.h
  map/MapViewport.cpp
  map/MapViewport.h
  map/MbTilesSource.cpp
  map/MbTilesSource.h
  map/OfflineBackground.cpp
  map/OfflineBackground.h
  map/PinAnnotationView.cpp
  map/PinAnnotationView.h
  map/RaceMapViewController.cpp
  map/RaceMapViewController.h
  map/TileSource.h
  map/TrackColorLegend.cpp
  map/TrackColorLegend.h
  map/WindAnnotationView.cpp
  map/WindAnnotationView.h
  map/WormTimeAnnotationView.cpp
  map/WormTimeAnnotationView.h
  map/XyzTileSource.cpp
  map/XyzTileSource.h
)
list(APPEND WAKELINE_IMAGES YellowPin.svg)
