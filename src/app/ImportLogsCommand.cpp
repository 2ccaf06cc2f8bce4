#include "app/ImportLogsCommand.h"

#include "app/DocumentSummary.h"
#include "app/EditingVerb.h"
#include "document/AddLogAsset.h"
#include "document/Document.h"
#include "document/LogImport.h"

#include <QFileInfo>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>

namespace {
int usage(const char* problem) {
    std::fprintf(stderr, "wakeline import-logs: %s\nusage: wakeline import-logs EVENT --boat NAME FILE...\n",
                 problem);
    return 2;
}
} // namespace

int ImportLogsCommand::run(const QStringList& arguments) {
    QString package;
    std::optional<QString> boatName;
    QStringList files;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == "--boat") {
            if (i + 1 >= arguments.size())
                return usage("--boat needs a NAME");
            boatName = arguments[++i];
        } else if (argument.startsWith("--")) {
            return usage("unknown option");
        } else if (package.isEmpty()) {
            package = argument;
        } else {
            files << QFileInfo(argument).absoluteFilePath();
        }
    }
    if (package.isEmpty() || !boatName || files.isEmpty())
        return usage("EVENT, --boat and at least one FILE are needed");

    std::shared_ptr<LogFileAsset> asset;
    return EditingVerb::run(
        package,
        [&](Document& document) -> EditingVerb::Preparation {
            std::shared_ptr<Boat> boat;
            for (const auto& candidate : document.boats())
                if (candidate->fullName() == *boatName)
                    boat = candidate;
            if (!boat)
                return QStringLiteral("The event has no boat named \"%1\"; add it with add-boat first.")
                    .arg(*boatName);
            for (const QString& file : files)
                if (!QFileInfo(file).isFile())
                    return QStringLiteral("%1 is not a file.").arg(file);
            // Converter lines go to stderr, leaving stdout to the JSON.
            LogImportResult result =
                importLogs(files, boat, document.eventTimezone(),
                           [](const QString& line) { std::fprintf(stderr, "%s\n", qPrintable(line)); });
            if (!result.asset)
                return result.failure.isEmpty()
                           ? QStringLiteral("None of the files is a log that Wakeline can import.")
                           : result.failure;
            asset = result.asset;
            return std::make_unique<AddLogAsset>(boat, asset);
        },
        [&](const Document&, nlohmann::ordered_json& json) {
            json["boat"] = boatName->toStdString();
            json["logAsset"] = DocumentSummary::logAssetJson(*asset);
        });
}
