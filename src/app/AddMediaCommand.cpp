#include "app/AddMediaCommand.h"

#include "app/DocumentSummary.h"
#include "app/EditingVerb.h"
#include "document/AddMediaAssets.h"
#include "document/Document.h"
#include "media/MediaAsset.h"
#include "media/MediaFileAdder.h"

#include <QFileInfo>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>

namespace {
int usage(const char* problem) {
    std::fprintf(stderr, "wakeline add-media: %s\nusage: wakeline add-media EVENT --group NAME FILE...\n",
                 problem);
    return 2;
}
} // namespace

int AddMediaCommand::run(const QStringList& arguments) {
    QString package;
    std::optional<QString> groupName;
    QList<QUrl> files;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == "--group") {
            if (i + 1 >= arguments.size())
                return usage("--group needs a NAME");
            groupName = arguments[++i];
        } else if (argument.startsWith("--")) {
            return usage("unknown option");
        } else if (package.isEmpty()) {
            package = argument;
        } else {
            files << QUrl::fromLocalFile(QFileInfo(argument).absoluteFilePath());
        }
    }
    if (package.isEmpty() || !groupName || files.isEmpty())
        return usage("EVENT, --group and at least one FILE are needed");
    if (groupName->trimmed().isEmpty())
        return usage("--group needs a name");

    MediaFileAdder::Result result;
    return EditingVerb::run(
        package,
        [&](Document& document) -> EditingVerb::Preparation {
            auto group = AddMediaAssets::groupNamed(document, *groupName);
            // Times are read in the event's zone, as a drop on the desktop window reads them.
            result = MediaFileAdder::examine(files, group, document.eventTimezone());
            if (result.assets.empty())
                return QStringLiteral("None of the files could be added: %1. Please check that they are in a "
                                      "supported format.")
                    .arg(result.failures.join(", "));
            return std::make_unique<AddMediaAssets>(result.assets, group);
        },
        [&](const Document&, nlohmann::ordered_json& json) {
            json["added"] = nlohmann::ordered_json::array();
            for (const auto& asset : result.assets)
                json["added"].push_back(DocumentSummary::assetJson(*asset));
            json["failed"] = nlohmann::ordered_json::array();
            for (const QString& name : result.failures)
                json["failed"].push_back(name.toStdString());
        });
}
