#pragma once

#include <QStringList>

// `wakeline sync EVENT --group NAME [--boat NAME] [--apply]`: for each video of the media group, the
// shift that lines its camera's GPS up with the boat's logs (the main boat unless --boat names
// another), printed as a JSON array: `file`, `offset` (the proposed change of the asset's offset,
// seconds), `residual` (metres of position, or metres per second of speed when positions were not
// compared), `confident`, and `summary`; `error` for a video that cannot be synced. --apply saves the
// confident proposals as one edit and adds `applied` to each object. Exit 1 when the event cannot be
// opened or saved, 2 for a usage error.
class SyncCommand {
public:
    static int run(const QStringList& arguments);
};
