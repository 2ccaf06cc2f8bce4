#pragma once

#include "document/ProgressSink.h"

#include <cstdio>

// Progress of a command-line verb: the log lines go to stderr, as the desktop program's progress
// window would show them.
class StderrProgress : public ProgressSink {
public:
    void begin(const QString& description) override { std::fprintf(stderr, "%s\n", qPrintable(description)); }
    void appendLog(const QString& line) override {
        if (!line.contains("nw_path_close_fd"))
            std::fprintf(stderr, "%s\n", qPrintable(line));
    }
    void done() override {}
};
