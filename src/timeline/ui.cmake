target_sources(wakeline_ui PRIVATE
  timeline/TimelineView.cpp
  timeline/TimelineView.h
  timeline/TimelineViewController.cpp
  timeline/TimelineViewController.h
  timeline/TimelineViewDelegate.h
)
list(APPEND WAKELINE_IMAGES DroneIcon.svg BoatAssetIcon.svg PhotoAssetIcon.svg Play.svg Pause.svg)
