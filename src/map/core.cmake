# The race map's model and logic: what it shows at an instant and what its camera does.
target_sources(wakeline_core PRIVATE
  map/BoatLogReading.cpp
  map/BoatMapAnnotationGroup.cpp
  map/Geodesy.cpp
  map/MapAnnotation.cpp
  map/MapPoint.cpp
  map/MapScene.cpp
  map/RaceMap.cpp
  map/TrackColorMap.cpp
  map/TrackColorScale.cpp
  map/TrackIntervals.cpp
  map/TrackVertexColors.cpp
)
