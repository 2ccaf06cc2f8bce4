#include "readers/VccReader.h"

#include "readers/TrackPoints.h"
#include "readers/XmlNodes.h"

using namespace XmlNodes;

bool VccReader::recognises(std::string_view head) {
    return looksLikeXmlWith(head, {"<VelocitekControlCenter", "CapturedTrack"});
}

bool VccReader::read(std::span<char> text, InputTable& table, std::string& error) {
    const std::string_view whole(text.data(), text.size());
    pugi::xml_document document;
    std::string damage;
    if (!parseRoot(document, text, nullptr, damage, error))
        return false;
    TrackPoints points(table, whole, "VCC");
    if (!damage.empty())
        points.drop(damage, -1);
    forEachElement(document, [&](const pugi::xml_node& node) {
        std::string_view name = localName(node);
        if (name == "Trackpoints") {
            points.startTrack();
            return true;
        }
        if (name != "Trackpoint")
            return true;
        TrackPoints::Point point;
        point.time = attribute(node, "dateTime").value();
        point.lat = number(attribute(node, "latitude"));
        point.lon = number(attribute(node, "longitude"));
        point.sog = number(attribute(node, "speed"));
        // The unit's "heading" is its GPS course: it has no compass.
        point.cog = number(attribute(node, "heading"));
        points.add(point, node.offset_debug());
        return false;
    });
    return points.finish(error);
}
