#include "readers/GpxPieces.h"

#include "readers/GpxPoint.h"

#include <algorithm>
#include <cstring>
#include <thread>

namespace {

constexpr std::string_view pointTag = "<trkpt";
constexpr std::string_view segmentEnd = "</trkseg";
// How many pieces the threads parse ahead of the reader: enough to keep both busy, few enough
// that their memory stays warm.
constexpr std::size_t piecesAhead = 4;

// Where `needle` first occurs in text[from, to), or `npos`.
std::size_t findIn(std::string_view text, std::string_view needle, std::size_t from,
                   std::size_t to = std::string_view::npos) {
    to = std::min(to, text.size());
    if (from >= to)
        return std::string_view::npos;
    const void* at = ::memmem(text.data() + from, to - from, needle.data(), needle.size());
    return at ? static_cast<std::size_t>(static_cast<const char*>(at) - text.data()) : std::string_view::npos;
}

} // namespace

GpxPieces::GpxPieces(std::string_view text, std::size_t pieceBytes) : text_(text) {
    if (pieceBytes == 0 || text.size() < 2 * pieceBytes)
        return;
    // A piece starts at a point's tag and ends at the first point's tag past its size, or at the
    // end of its segment: a piece never spans two segments.
    std::size_t begin = findIn(text, pointTag, 0);
    while (begin != std::string_view::npos) {
        const std::size_t next = findIn(text, pointTag, begin + pieceBytes);
        const std::size_t boundary = findIn(text, segmentEnd, begin, next);
        if (boundary == std::string_view::npos && next == std::string_view::npos)
            break; // the rest of the file stays in the skeleton
        Piece piece;
        piece.begin = begin;
        piece.end = boundary != std::string_view::npos ? boundary : next;
        if (piece.end > piece.begin)
            pieces_.push_back(std::move(piece));
        begin = boundary != std::string_view::npos ? findIn(text, pointTag, boundary) : next;
    }
    if (pieces_.size() < 2) {
        pieces_.clear();
        return;
    }
    std::size_t copied = 0;
    for (const Piece& piece : pieces_) {
        parts_.push_back({skeleton_.size(), copied});
        skeleton_.append(text.substr(copied, piece.begin - copied));
        skeleton_.append("<").append(standIn).append("/>");
        copied = piece.end;
    }
    parts_.push_back({skeleton_.size(), copied});
    skeleton_.append(text.substr(copied));
}

std::ptrdiff_t GpxPieces::fileOffset(std::ptrdiff_t skeletonOffset) const {
    if (skeletonOffset < 0 || parts_.empty())
        return skeletonOffset;
    const auto at = static_cast<std::size_t>(skeletonOffset);
    auto part = std::upper_bound(parts_.begin(), parts_.end(), at,
                                 [](std::size_t offset, const Part& p) { return offset < p.skeletonStart; });
    if (part != parts_.begin())
        --part;
    return static_cast<std::ptrdiff_t>(part->fileStart + (at - part->skeletonStart));
}

GpxPieces::~GpxPieces() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    for (std::thread& worker : workers_)
        worker.join();
}

void GpxPieces::start() {
    // Worker threads only, so that a piece's tree is made with the ordinary allocator and its
    // memory serves the next piece; the calling thread may have pugixml allocate from an arena
    // that never frees.
    const unsigned threads = std::clamp(std::thread::hardware_concurrency(), 1u, 2u);
    for (unsigned t = 0; t < threads; ++t)
        workers_.emplace_back([this] { work(); });
}

void GpxPieces::work() {
    pugi::xml_document document;
    for (;;) {
        std::size_t index = 0;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [&] { return stopping_ || nextToParse_ < added_ + piecesAhead; });
            if (stopping_ || nextToParse_ >= pieces_.size())
                return;
            index = nextToParse_++;
        }
        Piece& piece = pieces_[index];
        try {
            parsePiece(text_, piece, document);
        } catch (...) {
            piece.failure = std::current_exception();
        }
        {
            std::lock_guard lock(mutex_);
            piece.done = true;
        }
        changed_.notify_all();
    }
}

void GpxPieces::parsePiece(std::string_view text, Piece& piece, pugi::xml_document& document) {
    // pugixml takes a zero byte for the end of the text, where reading the file whole would stop.
    if (std::memchr(text.data() + piece.begin, 0, piece.end - piece.begin))
        return;
    // Parsed from a copy: the file's text must stay as it is for reading it whole after all.
    const pugi::xml_parse_result result = document.load_buffer(
        text.data() + piece.begin, piece.end - piece.begin,
        pugi::parse_default | pugi::parse_embed_pcdata | pugi::parse_fragment, pugi::encoding_utf8);
    piece.whole = bool(result);
    piece.points.reserve((piece.end - piece.begin) / 64 + 1);
    for (pugi::xml_node node = document.first_child(); piece.whole && node; node = node.next_sibling()) {
        if (node.type() != pugi::node_element || std::strcmp(node.name(), "trkpt") != 0) {
            piece.whole = false;
            break;
        }
        const TrackPoints::Judged judged = TrackPoints::judge(GpxPoint::of(node));
        const std::string_view timeText = judged.dropText.substr(0, 0xFFFF);
        piece.points.push_back({judged.time,
                                {judged.values[0], judged.values[1], judged.values[2], judged.values[3]},
                                static_cast<std::int64_t>(piece.begin) + node.offset_debug(),
                                static_cast<std::uint32_t>(piece.texts.size()),
                                static_cast<std::uint16_t>(timeText.size()),
                                judged.hasZone,
                                judged.dropReason});
        piece.texts.append(timeText);
    }
    document.reset();
}

bool GpxPieces::addPoints(std::size_t index, TrackPoints& points) {
    Piece& piece = pieces_[index];
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return piece.done; });
    }
    if (piece.failure)
        std::rethrow_exception(piece.failure);
    if (!piece.whole)
        return false;
    TrackPoints::Judged judged;
    for (const Point& p : piece.points) {
        judged.time = p.time;
        judged.hasZone = p.hasZone;
        judged.dropReason = p.dropReason;
        judged.dropText = std::string_view(piece.texts).substr(p.textStart, p.textLength);
        std::copy(std::begin(p.values), std::end(p.values), judged.values);
        judged.values[4] = TrackPoints::nan();
        points.add(judged, p.offset);
    }
    std::vector<Point>().swap(piece.points);
    std::string().swap(piece.texts);
    {
        std::lock_guard lock(mutex_);
        added_ = index + 1;
    }
    changed_.notify_all();
    return true;
}
