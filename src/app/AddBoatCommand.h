#pragma once

#include <QStringList>

// `wakeline add-boat EVENT --name NAME [--short NAME] [--color RRGGBB] [--length M]
// [--gps-offset M] [--mode Main|Secondary|Other]`: adds one boat and saves. The short name defaults
// to the name, the colour to red, the mode to Other, length and GPS offset to the preferences.
// Prints `package`, `edit` and `boat` as `inspect` shows boats. A name the event has already is
// exit 1; exit 2 for a usage error.
class AddBoatCommand {
public:
    static int run(const QStringList& arguments);
};
