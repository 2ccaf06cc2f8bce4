#include "document/DocumentSnapshot.h"

#include "document/Document.h"

void copyDocumentContent(const Document& original, Document& copy) {
    copy.setBoats(original.boats());
    for (const auto& boat : original.boats())
        for (const auto& log : original.logAssets(boat))
            copy.addLogAsset(boat, log);
    copy.setRaces(original.races());
    copy.setMediaGroups(original.mediaGroups());
    copy.setAssets(original.assets());
    copy.setLegs(original.legs());
    copy.setTackTimes(original.tackTimes());
    copy.setGybeTimes(original.gybeTimes());
    copy.setEventTimezone(original.eventTimezone());
    copy.setEventStartTimeOverride(original.eventStartTimeOverride());
    copy.setEventEndTimeOverride(original.eventEndTimeOverride());
    copy.setPackagePath(original.packagePath());
    copy.setEdited(false);
}
