#pragma once

#include <QStringList>

// `wakeline render DOC --at TIME --layout LAYOUT --size WxH -o OUT.png`: opens a package, draws
// one frame of a presentation layout at TIME offscreen, and writes it as PNG. Exit 0, 1 when the
// document cannot be opened or the picture not written, 2 for bad arguments.
class RenderCommand {
public:
    static int run(const QStringList& arguments);
};
