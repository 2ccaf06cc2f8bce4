#pragma once

#include <QString>

// Writes a local crash report when the program dies of a signal (a crash, or an abort from a
// programming-error stop): the signal, a backtrace, the version and the environment "prod", in
// the user's state folder. No network: the report stays on the machine.
class CrashReporter {
public:
    // The folder the reports go to: $XDG_STATE_HOME/Wakeline/crashes (~/.local/state/…).
    static QString reportFolder();
    static void start(const QString& environment);
    // The report file the next crash writes; fixed at start so the handler only opens a path.
    static QString pendingReportPath();
};
