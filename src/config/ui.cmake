# Editors of the event: boats, their logs, races, media groups.
target_sources(wakeline_ui PRIVATE
  config/LogImportController.cpp
  config/LogImportController.h
  config/PreferencesViewController.cpp
  config/PreferencesViewController.h
)
