#pragma once

#include <QStringList>

// `wakeline set-zone EVENT ID`: sets the zone the event's times are shown in (an ICU zone id, a
// fixed offset such as GMT+0200, or UTC) and saves. Prints `package`, `edit` and `eventTimezone`.
// Exit 2 for a usage error, an unknown zone among them.
class SetZoneCommand {
public:
    static int run(const QStringList& arguments);
};
