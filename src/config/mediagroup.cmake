# The media group editor and the edits it makes.
target_sources(wakeline_core PRIVATE
  document/PlaceMediaAssets.cpp
  document/PlaceMediaAssets.h
  document/RemoveMediaAssets.cpp
  document/RemoveMediaAssets.h
  document/RenameMediaGroup.cpp
  document/RenameMediaGroup.h
)
target_sources(wakeline_ui PRIVATE
  config/MediaAssetTableModel.cpp
  config/MediaAssetTableModel.h
  config/MediaGroupConfigViewController.cpp
  config/MediaGroupConfigViewController.h
)
