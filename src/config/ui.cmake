# Editors of the event: boats, their logs, races, media groups.
target_sources(wakeline_ui PRIVATE
  config/BoatConfigViewController.cpp
  config/BoatConfigViewController.h
  config/ConfigOutlineModel.cpp
  config/ConfigOutlineModel.h
  config/ConfigViewController.cpp
  config/ConfigViewController.h
  config/ConfigWindowController.cpp
  config/ConfigWindowController.h
  config/EventConfigViewController.cpp
  config/EventConfigViewController.h
  config/LogAssetTableModel.cpp
  config/LogAssetTableModel.h
  config/LogImportController.cpp
  config/LogImportController.h
  config/MediaAssetTableModel.cpp
  config/MediaAssetTableModel.h
  config/MediaFileAddition.cpp
  config/MediaFileAddition.h
  config/MediaGroupConfigViewController.cpp
  config/MediaGroupConfigViewController.h
  config/MetricsConfigTableModel.cpp
  config/MetricsConfigTableModel.h
  config/MetricsConfigViewController.cpp
  config/MetricsConfigViewController.h
  config/MetricsTableConfigViewController.cpp
  config/MetricsTableConfigViewController.h
  config/PreferencesViewController.cpp
  config/PreferencesViewController.h
  config/RaceConfigViewController.cpp
  config/RaceConfigViewController.h
  config/TimeZoneComboBox.cpp
  config/TimeZoneComboBox.h
  config/ZonedDateTimeEdit.cpp
  config/ZonedDateTimeEdit.h
)
list(APPEND WAKELINE_IMAGES Calendar.svg FinishFlag.svg)
