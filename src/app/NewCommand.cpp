#include "app/NewCommand.h"

#include "core/Diagnostics.h"
#include "document/Document.h"
#include "document/DocumentPackageWriter.h"
#include "document/SetEventTimeZone.h"

#include <QDir>
#include <QFileInfo>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

namespace {
int usage(const char* problem) {
    std::fprintf(stderr, "wakeline new: %s\nusage: wakeline new EVENT.wakeline [--zone ID]\n", problem);
    return 2;
}
} // namespace

int NewCommand::run(const QStringList& arguments) {
    QString package;
    std::optional<QString> zoneName;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == "--zone") {
            if (i + 1 >= arguments.size())
                return usage("--zone needs an ID");
            zoneName = arguments[++i];
        } else if (argument.startsWith("--")) {
            return usage("unknown option");
        } else if (package.isEmpty()) {
            package = argument;
        } else {
            return usage("one EVENT only");
        }
    }
    if (package.isEmpty())
        return usage("EVENT is needed");
    TimeZone zone = TimeZone::current();
    if (zoneName) {
        auto named = SetEventTimeZone::zoneNamed(*zoneName);
        if (!named)
            return usage(qPrintable(QStringLiteral("unknown time zone \"%1\" (an ICU zone id such as "
                                                   "Europe/Berlin, GMT+0200 or UTC)")
                                        .arg(*zoneName)));
        zone = *named;
    }

    Diagnostics::setStream(stderr);
    const QString path = QDir::cleanPath(QFileInfo(package).absoluteFilePath());
    if (QFileInfo::exists(path)) {
        std::fprintf(stderr, "%s exists already; new never overwrites.\n", qPrintable(path));
        return 1;
    }
    Document document;
    document.setEventTimezone(zone);
    if (auto error = DocumentPackageWriter::write(document, path)) {
        std::fprintf(stderr, "%s\n", qPrintable(error->description(QStringLiteral(" "))));
        return 1;
    }
    nlohmann::ordered_json json;
    json["package"] = path.toStdString();
    json["eventTimezone"] = zone.identifier();
    std::cout << json.dump(2) << std::endl;
    return 0;
}
