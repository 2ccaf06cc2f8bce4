#pragma once

#include <QStringList>

// `wakeline export-video DOC --from TIME --to TIME --layout LAYOUT --size WxH [--fps N] [--speed X]
// [--overlay-only] [--no-sound] [--metrics KEY,…] [--metrics-before-gun KEY,…] -o OUT`: exports a stretch of
// the event as a film, drawn as the window draws it, and prints a JSON summary. Exit 0, 1 when the document
// cannot be opened or the film not written, 2 for bad arguments.
class ExportVideoCommand {
public:
    static int run(const QStringList& arguments);
};
