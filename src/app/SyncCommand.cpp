#include "app/SyncCommand.h"

#include "app/PackageOpening.h"
#include "core/Diagnostics.h"
#include "document/AssetSync.h"
#include "document/Document.h"
#include "document/DocumentPackageWriter.h"
#include "document/SyncAssets.h"
#include "media/MediaAsset.h"
#include "metrics/Boat.h"

#include <QDir>
#include <QFileInfo>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace {

int usage(const char* message) {
    std::fprintf(stderr,
                 "wakeline sync: %s\nusage: wakeline sync EVENT --group NAME [--boat NAME] [--apply]\n",
                 message);
    return 2;
}

ordered_json describe(const MediaAsset& asset, const AssetSync::Proposal& proposal) {
    ordered_json json;
    json["file"] = asset.url().toLocalFile().toStdString();
    if (!proposal.result) {
        json["offset"] = nullptr;
        json["residual"] = nullptr;
        json["confident"] = false;
        json["error"] = proposal.failure.toStdString();
        return json;
    }
    const CameraSync::Result& result = *proposal.result;
    json["offset"] = result.offset;
    json["residual"] = result.positionResidual ? *result.positionResidual : result.speedResidual;
    json["confident"] = result.confident;
    json["summary"] = result.summary();
    return json;
}

} // namespace

int SyncCommand::run(const QStringList& arguments) {
    QString package, groupName, boatName;
    bool apply = false;
    for (int i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == "--group" || argument == "--boat") {
            if (i + 1 >= arguments.size())
                return usage(argument == "--group" ? "--group needs a NAME" : "--boat needs a NAME");
            (argument == "--group" ? groupName : boatName) = arguments[++i];
        } else if (argument == "--apply") {
            apply = true;
        } else if (argument.startsWith("--") || !package.isEmpty()) {
            return usage("unexpected argument");
        } else {
            package = argument;
        }
    }
    if (package.isEmpty() || groupName.isEmpty())
        return usage("EVENT and --group are needed");

    Diagnostics::setStream(stderr);
    const QString path = QDir::cleanPath(QFileInfo(package).absoluteFilePath());
    Document document;
    if (QString why; !openPackage(path, document, &why)) {
        std::fprintf(stderr, "%s\n",
                     why.isEmpty() ? "The document could not be opened; it was left as it was."
                                   : qPrintable(why));
        return 1;
    }
    auto group = document.mediaGroupNamed(groupName);
    if (!group) {
        std::fprintf(stderr, "The event has no media group named \"%s\".\n", qPrintable(groupName));
        return 1;
    }
    std::shared_ptr<Boat> boat;
    if (!boatName.isEmpty()) {
        for (const auto& candidate : document.boats())
            if (candidate->fullName() == boatName)
                boat = candidate;
        if (!boat) {
            std::fprintf(stderr, "The event has no boat named \"%s\".\n", qPrintable(boatName));
            return 1;
        }
    }

    ordered_json out = ordered_json::array();
    std::vector<std::pair<std::shared_ptr<MediaAsset>, double>> shifts;
    for (const auto& asset : document.assets()) {
        if (asset->mediaGroup() != group || asset->isPhoto())
            continue;
        const AssetSync::Proposal proposal = AssetSync::propose(document, asset, boat);
        ordered_json json = describe(*asset, proposal);
        const bool confident = proposal.result && proposal.result->confident;
        if (confident)
            shifts.emplace_back(asset, proposal.result->offset);
        if (apply)
            json["applied"] = confident;
        out.push_back(std::move(json));
    }
    if (apply && !shifts.empty()) {
        SyncAssets edit(std::move(shifts));
        edit.apply(document);
        if (auto error = DocumentPackageWriter::write(document, path)) {
            std::fprintf(stderr, "%s\n", qPrintable(error->description(QStringLiteral(" "))));
            return 1;
        }
    }
    std::cout << out.dump(2) << std::endl;
    return 0;
}
