#include "readers/GpxReader.h"

#include "readers/TrackPoints.h"
#include "readers/XmlNodes.h"

using namespace XmlNodes;

namespace {

constexpr double knotsPerMetrePerSecond = 3600.0 / 1852.0;

// Speed or course of a point: GPX 1.0's own element, else the first of that name in the point's
// extensions (Garmin's TrackPointExtension and the like).
double pointValue(const pugi::xml_node& point, std::string_view name) {
    if (pugi::xml_node own = child(point, name))
        return number(own);
    if (pugi::xml_node extensions = child(point, "extensions"))
        return number(descendant(extensions, name));
    return NAN;
}

} // namespace

bool GpxReader::recognises(std::string_view head) {
    return looksLikeXmlWith(head, {"<gpx"});
}

bool GpxReader::read(std::string& text, InputTable& table, std::string& error) {
    const std::string_view whole = text;
    pugi::xml_document document;
    std::string damage;
    pugi::xml_node gpx = parseRoot(document, text, "gpx", damage, error);
    if (!gpx)
        return false;
    TrackPoints points(table, whole, std::string("GPX ") + gpx.attribute("version").as_string("1.1"));
    if (!damage.empty())
        points.drop(damage, -1);
    forEachElement(gpx, [&](const pugi::xml_node& node) {
        std::string_view name = localName(node);
        if (name == "trkseg" || name == "rte") {
            points.startTrack();
            return true;
        }
        if (name != "trkpt" && name != "rtept")
            return name != "extensions" && name != "metadata";
        TrackPoints::Point point;
        point.time = child(node, "time").child_value();
        point.lat = number(node.attribute("lat"));
        point.lon = number(node.attribute("lon"));
        point.sog = pointValue(node, "speed") * knotsPerMetrePerSecond;
        point.cog = pointValue(node, "course");
        points.add(point, node.offset_debug());
        return false;
    });
    return points.finish(error);
}
