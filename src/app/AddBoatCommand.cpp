#include "app/AddBoatCommand.h"

#include "app/DocumentSummary.h"
#include "app/EditingVerb.h"
#include "document/AddBoat.h"
#include "document/Document.h"

#include <QRegularExpression>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>

namespace {

int usage(const char* problem) {
    std::fprintf(stderr,
                 "wakeline add-boat: %s\nusage: wakeline add-boat EVENT --name NAME [--short NAME] "
                 "[--color RRGGBB] [--length M] [--gps-offset M] [--mode Main|Secondary|Other]\n",
                 problem);
    return 2;
}

std::optional<double> number(const QString& text) {
    bool ok = false;
    double value = text.toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return std::nullopt;
    return value;
}

} // namespace

int AddBoatCommand::run(const QStringList& arguments) {
    QString package;
    std::optional<QString> name;
    std::optional<QString> shortName;
    RgbColor color = RgbColor::pureRed();
    std::optional<double> length;
    std::optional<double> gpsOffset;
    Boat::DisplayMode mode = Boat::DisplayMode::Other;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        const bool takesValue = argument == "--name" || argument == "--short" || argument == "--color" ||
                                argument == "--length" || argument == "--gps-offset" || argument == "--mode";
        if (takesValue && i + 1 >= arguments.size())
            return usage(qPrintable(argument + " needs a value"));
        if (argument == "--name") {
            name = arguments[++i];
        } else if (argument == "--short") {
            shortName = arguments[++i];
        } else if (argument == "--color") {
            const QString text = arguments[++i];
            // The package would read anything else as red without a word; say so here instead.
            static const QRegularExpression hex(QStringLiteral("^[0-9A-Fa-f]{6}$"));
            if (!hex.match(text).hasMatch())
                return usage("--color needs six hexadecimal digits, RRGGBB");
            color = Boat::colorFromText(text.toStdString());
        } else if (argument == "--length") {
            length = number(arguments[++i]);
            if (!length || *length <= 0)
                return usage("--length needs a positive number of metres");
        } else if (argument == "--gps-offset") {
            gpsOffset = number(arguments[++i]);
            if (!gpsOffset)
                return usage("--gps-offset needs a number of metres");
        } else if (argument == "--mode") {
            const QString text = arguments[++i];
            if (text != "Main" && text != "Secondary" && text != "Other")
                return usage("--mode is Main, Secondary or Other");
            mode = Boat::displayModeFromText(text.toStdString());
        } else if (argument.startsWith("--")) {
            return usage("unknown option");
        } else if (package.isEmpty()) {
            package = argument;
        } else {
            return usage("one EVENT only");
        }
    }
    if (package.isEmpty() || !name)
        return usage("EVENT and --name are needed");
    if (name->trimmed().isEmpty())
        return usage("--name needs a name");

    auto boat = Boat::create(*name, shortName.value_or(*name), color, mode);
    if (length)
        boat->setBoatLength(*length);
    if (gpsOffset)
        boat->setGpsOffset(*gpsOffset);
    return EditingVerb::run(
        package,
        [boat](Document& document) -> EditingVerb::Preparation {
            // Logs are imported to a boat by its name, so two of one name would be ambiguous.
            for (const auto& other : document.boats())
                if (other->fullName() == boat->fullName())
                    return QStringLiteral("The event has a boat named \"%1\" already.").arg(boat->fullName());
            return std::make_unique<AddBoat>(boat);
        },
        [boat](const Document& document, nlohmann::ordered_json& json) {
            json["boat"] = DocumentSummary::boatJson(document, boat);
        });
}
