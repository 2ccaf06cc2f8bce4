#pragma once

#include <QStringList>

// `wakeline add-race EVENT --name NAME --gun TIME [--finish TIME] [--pin LAT,LON --rc LAT,LON]`:
// adds one race and saves. Prints `package`, `edit`, `race` (`name`, `gun`, `finish`, `pinLat`,
// `pinLon`, `rcLat`, `rcLon`; times as Unix seconds) and `raceCount`. Exit 2 for a usage error.
class AddRaceCommand {
public:
    static int run(const QStringList& arguments);
};
