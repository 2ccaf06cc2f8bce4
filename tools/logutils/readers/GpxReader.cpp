#include "readers/GpxReader.h"

#include "readers/GpxPieces.h"
#include "readers/GpxPoint.h"
#include "readers/TrackPoints.h"
#include "readers/XmlNodes.h"

#include <memory>

using namespace XmlNodes;

namespace {

enum class Outcome { read, failed, readWhole };

// Reads the document parsed from `text`, which is the file itself or the skeleton of `pieces`.
Outcome readDocument(std::string_view file, std::span<char> text, GpxPieces* pieces, InputTable& table,
                     std::string& error) {
    pugi::xml_document document;
    std::string damage;
    pugi::xml_node gpx = parseRoot(document, text, "gpx", damage, error);
    if (pieces && (!gpx || !damage.empty()))
        return Outcome::readWhole; // for the file's own damage report
    if (!gpx)
        return Outcome::failed;
    TrackPoints points(table, file, std::string("GPX ") + gpx.attribute("version").as_string("1.1"));
    if (!damage.empty())
        points.drop(damage, -1);
    std::size_t piecesMet = 0;
    bool inOrder = true;
    forEachElement(gpx, [&](const pugi::xml_node& node) {
        if (pieces && node.name() == GpxPieces::standIn) {
            inOrder = inOrder && piecesMet < pieces->count() && pieces->addPoints(piecesMet, points);
            ++piecesMet;
            return false;
        }
        std::string_view name = localName(node);
        if (name == "trkseg" || name == "rte") {
            points.startTrack();
            return true;
        }
        if (name != "trkpt" && name != "rtept")
            return name != "extensions" && name != "metadata";
        const std::ptrdiff_t offset = node.offset_debug();
        points.add(GpxPoint::of(node), pieces ? pieces->fileOffset(offset) : offset);
        return false;
    });
    if (pieces && (!inOrder || piecesMet != pieces->count()))
        return Outcome::readWhole;
    return points.finish(error) ? Outcome::read : Outcome::failed;
}

} // namespace

bool GpxReader::recognises(std::string_view head) {
    return looksLikeXmlWith(head, {"<gpx"});
}

bool GpxReader::read(std::span<char> text, InputTable& table, std::string& error, std::size_t pieceBytes) {
    const std::string_view file(text.data(), text.size());
    if (auto pieces = std::make_unique<GpxPieces>(file, pieceBytes); !pieces->empty()) {
        pieces->start();
        InputTable piecewise;
        std::string reason;
        const Outcome outcome = readDocument(file, pieces->skeleton(), pieces.get(), piecewise, reason);
        if (outcome != Outcome::readWhole) {
            table = std::move(piecewise); // with what was dropped when nothing was left
            error = std::move(reason);
            return outcome == Outcome::read;
        }
        pieces.reset(); // its threads stop before the file is read whole
    }
    return readDocument(file, text, nullptr, table, error) == Outcome::read;
}
