// Opens a package as the program does and reports the time until it is opened; then renames a
// race and saves in place a few times, reporting each save. Prints JSON on stdout.
//   document_open PACKAGE [--saves N]

#include "boatlog/LogFileAsset.h"
#include "core/Diagnostics.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "document/DocumentOpener.h"
#include "document/DocumentPackageReader.h"
#include "document/DocumentPackageWriter.h"
#include "document/ProgressSink.h"
#include "race/Race.h"

#include <QCoreApplication>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>

namespace {
struct QuietProgress : ProgressSink {
    void begin(const QString&) override {}
    void appendLog(const QString& line) override { std::fprintf(stderr, "%s\n", qPrintable(line)); }
    void done() override {}
};

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}
} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: document_open PACKAGE [--saves N]\n");
        return 2;
    }
    const QString package = QString::fromLocal8Bit(argv[1]);
    int saves = argc >= 4 && std::strcmp(argv[2], "--saves") == 0 ? std::atoi(argv[3]) : 0;
    UserDefaults::useFile("/tmp/wakeline-bench-settings.ini");
    Diagnostics::setStream(stderr);

    auto started = std::chrono::steady_clock::now();
    auto read = DocumentPackageReader::read(package);
    if (!std::holds_alternative<DocumentReference>(read)) {
        std::fprintf(stderr, "cannot open %s\n", argv[1]);
        return 1;
    }
    Document document;
    DocumentOpener::openAndWait(document, std::get<DocumentReference>(std::move(read)), package,
                                std::make_shared<QuietProgress>());
    double opened = secondsSince(started);

    std::string saveTimes;
    for (int i = 0; i < saves && !document.races().empty(); ++i) {
        document.races().front()->setName(QString("Race %1").arg(i));
        auto saveStarted = std::chrono::steady_clock::now();
        if (DocumentPackageWriter::write(document, package)) {
            std::fprintf(stderr, "save failed\n");
            return 1;
        }
        saveTimes += (saveTimes.empty() ? "" : ", ") + std::to_string(secondsSince(saveStarted) * 1000.0);
    }
    long records = 0;
    for (const auto& log : document.allLogAssets())
        records += log->boatLog()->recordCount();
    std::printf("{\"openSeconds\": %.6f, \"logs\": %zu, \"records\": %ld, \"saveMilliseconds\": [%s]}\n",
                opened, document.allLogAssets().size(), records, saveTimes.c_str());
    return 0;
}
