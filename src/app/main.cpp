#include "app/ExamineCommand.h"
#include "app/ProbeMediaCommand.h"

#include <QCoreApplication>
#include <cstdio>

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName("Wakeline");
    QCoreApplication::setApplicationName("Wakeline");
    QCoreApplication::setApplicationVersion(WAKELINE_VERSION);

    QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() >= 2 && arguments[1] == "inspect") {
        arguments.removeAt(1);
        return ExamineCommand::run(arguments);
    }
    if (arguments.size() >= 2 && arguments[1] == "probe-media") {
        arguments.removeAt(1);
        return ProbeMediaCommand::run(arguments);
    }
    if (arguments.size() >= 2 && (arguments[1] == "--version" || arguments[1] == "-v")) {
        std::printf("wakeline %s\n", WAKELINE_VERSION);
        return 0;
    }
    std::fprintf(
        stderr,
        "usage: wakeline inspect LOG.hdf5 [--zone ID] [--offset S] [--at TIME [--interpolated]] "
        "[--metric KEY]...\n"
        "       wakeline probe-media FILE... [--zone ID]\n"
        "The desktop window is not part of this build yet; the inspect verb shows a converted log.\n");
    return 2;
}
