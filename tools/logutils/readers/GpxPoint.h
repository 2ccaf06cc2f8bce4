#pragma once

#include "readers/TrackPoints.h"
#include "readers/XmlNodes.h"

// The point of a GPX `trkpt` or `rtept` element: its position, time, and speed and course from
// GPX 1.0's own elements or the first of those names in its extensions (Garmin's
// TrackPointExtension and the like), in m/s, turned into knots.
namespace GpxPoint {

inline TrackPoints::Point of(const pugi::xml_node& node) {
    using namespace XmlNodes;
    constexpr double knotsPerMetrePerSecond = 3600.0 / 1852.0;
    // The first child of each name, in one pass over them: a track has hundreds of thousands of
    // points.
    pugi::xml_node time, speed, course, extensions;
    for (pugi::xml_node c = node.first_child(); c; c = c.next_sibling()) {
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
    auto value = [&](const pugi::xml_node& own, std::string_view name) {
        if (own)
            return number(own);
        if (extensions)
            return number(descendant(extensions, name));
        return TrackPoints::nan();
    };
    TrackPoints::Point point;
    point.time = time.child_value();
    point.lat = number(node.attribute("lat"));
    point.lon = number(node.attribute("lon"));
    point.sog = value(speed, "speed") * knotsPerMetrePerSecond;
    point.cog = value(course, "course");
    return point;
}

} // namespace GpxPoint
