#pragma once

#include <QStringList>

// `wakeline add-media EVENT --group NAME FILE…`: examines the photos and videos in the event's time
// zone and adds them to the group of that name, made when the event has none, and saves. Prints
// `package`, `edit`, `added` (the assets as `inspect` shows them) and `failed` (file names). When
// no file can be added: exit 1, the package as it was. Exit 2 for a usage error.
class AddMediaCommand {
public:
    static int run(const QStringList& arguments);
};
