#include "app/SetZoneCommand.h"

#include "app/EditingVerb.h"
#include "document/Document.h"
#include "document/SetEventTimeZone.h"

#include <cstdio>
#include <nlohmann/json.hpp>

int SetZoneCommand::run(const QStringList& arguments) {
    const QStringList operands = arguments.mid(1);
    if (operands.size() != 2 || operands[0].startsWith("--") || operands[1].startsWith("--")) {
        std::fprintf(stderr,
                     "wakeline set-zone: EVENT and ID are needed\nusage: wakeline set-zone EVENT ID\n");
        return 2;
    }
    auto zone = SetEventTimeZone::zoneNamed(operands[1]);
    if (!zone) {
        std::fprintf(stderr,
                     "wakeline set-zone: unknown time zone \"%s\" (an ICU zone id such as Europe/Berlin, "
                     "GMT+0200 or UTC)\nusage: wakeline set-zone EVENT ID\n",
                     qPrintable(operands[1]));
        return 2;
    }
    return EditingVerb::run(operands[0], std::make_unique<SetEventTimeZone>(*zone),
                            [](const Document& document, nlohmann::ordered_json& json) {
                                json["eventTimezone"] = document.eventTimezone().identifier();
                            });
}
