# Editors of the event: boats, their logs, races, media groups.
target_sources(wakeline_ui PRIVATE
  config/ConfigOutlineModel.cpp
  config/ConfigOutlineModel.h
  config/ConfigViewController.cpp
  config/ConfigViewController.h
  config/ConfigWindowController.cpp
  config/ConfigWindowController.h
  config/EventConfigViewController.cpp
  config/EventConfigViewController.h
  config/LogImportController.cpp
  config/LogImportController.h
  config/PreferencesViewController.cpp
  config/PreferencesViewController.h
  config/RaceConfigViewController.cpp
  config/RaceConfigViewController.h
  config/TimeZoneComboBox.cpp
  config/TimeZoneComboBox.h
  config/ZonedDateTimeEdit.cpp
  config/ZonedDateTimeEdit.h
)
include(config/boat.cmake)
include(config/mediagroup.cmake)
list(APPEND WAKELINE_IMAGES Calendar.svg FinishFlag.svg)
