#include "readers/GpxReader.h"

#include "readers/TrackPoints.h"
#include "readers/XmlNodes.h"

using namespace XmlNodes;

namespace {

constexpr double knotsPerMetrePerSecond = 3600.0 / 1852.0;

// The children of a point that carry its time, speed and course: the first of each name. One pass
// over them, for a track has hundreds of thousands of points.
struct PointChildren {
    pugi::xml_node time, speed, course, extensions;

    explicit PointChildren(const pugi::xml_node& point) {
        for (pugi::xml_node c = point.first_child(); c; c = c.next_sibling()) {
            if (c.type() != pugi::node_element)
                continue;
            const std::string_view name = localName(c);
            pugi::xml_node* slot = name == "time"         ? &time
                                   : name == "speed"      ? &speed
                                   : name == "course"     ? &course
                                   : name == "extensions" ? &extensions
                                                          : nullptr;
            if (slot && !*slot)
                *slot = c;
        }
    }

    // Speed or course: GPX 1.0's own element, else the first of that name in the point's
    // extensions (Garmin's TrackPointExtension and the like).
    double value(const pugi::xml_node& own, std::string_view name) const {
        if (own)
            return number(own);
        if (extensions)
            return number(descendant(extensions, name));
        return NAN;
    }
};

} // namespace

bool GpxReader::recognises(std::string_view head) {
    return looksLikeXmlWith(head, {"<gpx"});
}

bool GpxReader::read(std::span<char> text, InputTable& table, std::string& error) {
    const std::string_view whole(text.data(), text.size());
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
        const PointChildren children(node);
        TrackPoints::Point point;
        point.time = children.time.child_value();
        point.lat = number(node.attribute("lat"));
        point.lon = number(node.attribute("lon"));
        point.sog = children.value(children.speed, "speed") * knotsPerMetrePerSecond;
        point.cog = children.value(children.course, "course");
        points.add(point, node.offset_debug());
        return false;
    });
    return points.finish(error);
}
