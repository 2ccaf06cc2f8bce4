#pragma once

#include <QStringList>

// `wakeline probe-media [--track] FILE… [--zone ID]`: runs the time detection of each photo or video
// as the add path does and prints a JSON array, one object per file, on stdout; the detection lines go
// to stderr. With --track each video also lists its camera's GPS points at their event times. Exit 0 when
// every file gave an asset, 1 when one did not, 2 for a usage error.
class ProbeMediaCommand {
public:
    static int run(const QStringList& arguments);
};
