#pragma once

#include <QString>
#include <QStringList>
#include <atomic>
#include <functional>

// Runs logutils-cli, the converter that turns instrument logs into one HDF5 boat log. It runs as
// a child process so that a file it cannot read never takes Wakeline down.
class LogConverter {
public:
    struct Request {
        QStringList inputs;
        double boatLength = 0;
        double gpsOffset = 0;
        QString output;
    };
    struct Result {
        int exitStatus = -1;
        bool cancelled = false;
        double seconds = 0;
        // Empty when the output file was written; else why not, in words for the user.
        QString failure;
        bool succeeded() const { return !cancelled && failure.isEmpty(); }
    };

    // The converter: the WAKELINE_CONVERTER environment variable when set; else beside the
    // running program in a build tree (<dir>/../tools/logutils/logutils-cli) or in an installed
    // tree (<prefix>/libexec/wakeline/logutils-cli). Empty when there is none.
    static QString locate();

    // The converter's arguments, in the order it takes them; inputs as absolute paths.
    static QStringList arguments(const Request& request);

    // Runs the converter on the calling thread and waits for it; in the desktop program that is
    // never the main thread. Every output line (stdout and stderr alike) goes to `line` as it
    // arrives. `cancel`, checked often, kills the child. A cancelled or failed run leaves no
    // output file.
    static Result run(const Request& request, const std::function<void(const QString&)>& line,
                      const std::atomic<bool>* cancel = nullptr);
};
