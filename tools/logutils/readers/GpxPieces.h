#pragma once

#include "readers/TrackPoints.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>
#include <pugixml.hpp>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

// A long GPX track read piece by piece. The runs of `<trkpt>` elements of its segments are cut
// into pieces of about `pieceBytes` that two threads parse and judge on their own, a few pieces
// ahead of the reader, which takes their points in order; what is left, the skeleton (the
// header, the segments' tags, waypoints, routes, and a stand-in element for each piece), is
// parsed as one document. A whole track held as one tree took three times the file's size in
// fresh memory, and filling that memory was most of the time a GPX file took; pieces reuse theirs.
//
// Cuts are found by their text alone, so every piece and the skeleton are checked: a piece must
// be whole `trkpt` elements and nothing else, and every stand-in must be met as an element of
// the skeleton (a cut inside a comment, a CDATA section or a value is not). When anything does
// not hold, including damage anywhere, the caller reads the file whole, as it always could; the
// text is never changed here.
class GpxPieces {
public:
    // The stand-in element for a piece in the skeleton.
    static constexpr std::string_view standIn = "wakeline--piece";

    // Finds the pieces of `text`; none when the file is too short for more than one.
    GpxPieces(std::string_view text, std::size_t pieceBytes);
    ~GpxPieces();
    GpxPieces(const GpxPieces&) = delete;
    GpxPieces& operator=(const GpxPieces&) = delete;

    bool empty() const { return pieces_.empty(); }

    // Starts parsing and judging the pieces on other threads.
    void start();

    // The skeleton's text, to be parsed in place, and the offset in the file of an offset in it.
    std::span<char> skeleton() { return {skeleton_.data(), skeleton_.size()}; }
    std::ptrdiff_t fileOffset(std::ptrdiff_t skeletonOffset) const;

    std::size_t count() const { return pieces_.size(); }
    // Adds the points of the piece `index`, the one after the piece added last, to `points`, in
    // file order; false when the piece is not whole `trkpt` elements. Waits for the piece.
    bool addPoints(std::size_t index, TrackPoints& points);

private:
    struct Point {
        double time;
        double values[4]; // lat, lon, SOG, COG
        std::int64_t offset;
        std::uint32_t textStart; // of the time's text in the piece's `texts`
        std::uint16_t textLength;
        bool hasZone;
        const char* dropReason;
    };
    struct Piece {
        std::size_t begin = 0;
        std::size_t end = 0;
        bool done = false;
        bool whole = false;
        std::exception_ptr failure;
        std::vector<Point> points;
        std::string texts;
    };
    struct Part { // a stretch of the skeleton copied from the file
        std::size_t skeletonStart;
        std::size_t fileStart;
    };

    static void parsePiece(std::string_view text, Piece& piece, pugi::xml_document& document);
    void work();

    std::string_view text_;
    std::vector<Piece> pieces_;
    std::vector<std::thread> workers_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t nextToParse_ = 0;
    std::size_t added_ = 0; // pieces whose points were taken
    bool stopping_ = false;
    std::string skeleton_;
    std::vector<Part> parts_;
};
