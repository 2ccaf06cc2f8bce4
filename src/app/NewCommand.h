#pragma once

#include <QStringList>

// `wakeline new EVENT.wakeline [--zone ID]`: writes an empty event package, its times shown in the
// zone given (else the computer's). Never overwrites: an existing path is exit 1. Prints `package`
// and `eventTimezone`. Exit 2 for a usage error.
class NewCommand {
public:
    static int run(const QStringList& arguments);
};
