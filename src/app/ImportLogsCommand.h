#pragma once

#include <QStringList>

// `wakeline import-logs EVENT --boat NAME FILE…`: imports the files as one log of the boat of that
// name (converted by logutils-cli unless it is one HDF5 boat log) and saves. The converter's lines
// go to stderr. Prints `package`, `edit`, `boat` and `logAsset` as `inspect` shows log assets. An
// unknown boat, a missing file or a failed conversion is exit 1, the package as it was; exit 2 for
// a usage error.
class ImportLogsCommand {
public:
    static int run(const QStringList& arguments);
};
