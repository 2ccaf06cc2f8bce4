#include "readers/KmlReader.h"

#include "readers/TrackPoints.h"
#include "readers/XmlNodes.h"

#include <vector>

using namespace XmlNodes;

namespace {

// "lon lat [alt]" (gx:coord) or "lon,lat[,alt]" (coordinates).
bool lonLat(std::string_view text, char separator, double& lon, double& lat) {
    text = trimmed(text);
    std::size_t first = text.find(separator);
    if (first == std::string_view::npos)
        return false;
    std::string_view rest = trimmed(text.substr(first + 1));
    std::size_t second = rest.find(separator);
    lon = number(text.substr(0, first));
    lat = number(second == std::string_view::npos ? rest : rest.substr(0, second));
    return std::isfinite(lon) && std::isfinite(lat);
}

void track(const pugi::xml_node& node, TrackPoints& points) {
    points.startTrack();
    std::vector<pugi::xml_node> whens, coords;
    for (pugi::xml_node c = node.first_child(); c; c = c.next_sibling()) {
        if (c.type() != pugi::node_element)
            continue;
        if (localName(c) == "when")
            whens.push_back(c);
        else if (localName(c) == "coord")
            coords.push_back(c);
    }
    // The two lists should pair up; where one runs longer its extra elements have no partner.
    const std::size_t pairs = std::min(whens.size(), coords.size());
    for (std::size_t i = pairs; i < whens.size(); ++i)
        points.drop("a <when> without a <gx:coord>", whens[i].offset_debug());
    for (std::size_t i = pairs; i < coords.size(); ++i)
        points.drop("a <gx:coord> without a <when>", coords[i].offset_debug());
    for (std::size_t i = 0; i < pairs; ++i) {
        TrackPoints::Point point;
        point.time = whens[i].child_value();
        if (trimmed(coords[i].child_value()).empty())
            continue; // an empty coord: the recorder had no fix
        if (!lonLat(coords[i].child_value(), ' ', point.lon, point.lat)) {
            points.drop("malformed coordinates", coords[i].offset_debug(), coords[i].child_value());
            continue;
        }
        points.add(point, coords[i].offset_debug());
    }
}

void placemark(const pugi::xml_node& node, TrackPoints& points) {
    pugi::xml_node point = child(node, "Point");
    pugi::xml_node stamp = child(node, "TimeStamp");
    if (!point || !stamp)
        return; // a line, a polygon, or a point of no particular time
    TrackPoints::Point p;
    p.time = child(stamp, "when").child_value();
    pugi::xml_node coordinates = child(point, "coordinates");
    if (!lonLat(coordinates.child_value(), ',', p.lon, p.lat)) {
        points.drop("malformed coordinates", node.offset_debug(), coordinates.child_value());
        return;
    }
    points.startTrack();
    points.add(p, node.offset_debug());
}

} // namespace

bool KmlReader::recognises(std::string_view head) {
    return looksLikeXmlWith(head, {"<kml"});
}

bool KmlReader::read(std::span<char> text, InputTable& table, std::string& error) {
    const std::string_view whole(text.data(), text.size());
    pugi::xml_document document;
    std::string damage;
    pugi::xml_node kml = parseRoot(document, text, "kml", damage, error);
    if (!kml)
        return false;
    TrackPoints points(table, whole, "KML");
    if (!damage.empty())
        points.drop(damage, -1);
    forEachElement(kml, [&](const pugi::xml_node& node) {
        std::string_view name = localName(node);
        if (name == "Track") {
            track(node, points);
            return false;
        }
        if (name == "Placemark") {
            placemark(node, points);
            return true; // a Placemark may hold a gx:Track or a MultiTrack
        }
        return true;
    });
    return points.finish(error);
}
