#pragma once

#include <QString>

// Where long work reports: the progress window in the desktop program, stderr for a verb. Called
// from any thread; an implementation hops to its own thread itself.
class ProgressSink {
public:
    virtual ~ProgressSink() = default;
    virtual void begin(const QString& description) = 0;
    virtual void appendLog(const QString& line) = 0;
    virtual void done() = 0;
};
