#pragma once

#include <QStringList>

// `wakeline inspect LOG.hdf5 [--zone ID] [--offset S] [--at TIME [--interpolated]] [--metric KEY]…`:
// loads a converted boat log as the program does and prints one JSON object on stdout.
// Exit 0 on success, 1 when the log cannot be loaded, 2 for a usage error.
class ExamineCommand {
public:
    static int run(const QStringList& arguments);
};
