# The boat editor and the edits it makes.
target_sources(wakeline_core PRIVATE
  document/ChangeBoat.cpp
  document/ChangeBoat.h
  document/RemoveLogAssets.cpp
  document/RemoveLogAssets.h
  document/SetLogTimeZone.cpp
  document/SetLogTimeZone.h
)
target_sources(wakeline_ui PRIVATE
  config/BoatConfigViewController.cpp
  config/BoatConfigViewController.h
  config/LogAssetTableModel.cpp
  config/LogAssetTableModel.h
)
