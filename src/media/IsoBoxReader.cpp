#include "media/IsoBoxReader.h"

#include "media/Iso8601.h"

#include <array>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

// Bounds against hostile or broken files. Real files have a handful of top-level boxes, a few dozen
// moov children and a few kilobytes of user data.
constexpr int maxTopLevelBoxes = 4096;
constexpr int maxMoovChildren = 65536;
constexpr std::uint64_t maxMetadataBoxSize = 16u << 20;
constexpr std::size_t maxItems = 4096;
constexpr int maxNesting = 6;

// Seconds from 1904-01-01, the QuickTime epoch, to 1970-01-01.
constexpr double quickTimeEpochToUnix = 2082844800.0;

using FourCC = std::array<char, 4>;

constexpr FourCC fourCC(const char (&text)[5]) {
    return {text[0], text[1], text[2], text[3]};
}

std::uint32_t be32(const std::uint8_t* p) {
    return std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 | p[3];
}

std::uint64_t be64(const std::uint8_t* p) {
    return std::uint64_t(be32(p)) << 32 | be32(p + 4);
}

std::uint16_t be16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>(p[0] << 8 | p[1]);
}

struct Bytes {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;

    Bytes from(std::size_t offset) const {
        return offset >= size ? Bytes{data + size, 0} : Bytes{data + offset, size - offset};
    }
    Bytes prefix(std::size_t length) const { return {data, length < size ? length : size}; }
    bool startsWith(std::string_view text) const {
        return size >= text.size() && std::memcmp(data, text.data(), text.size()) == 0;
    }
};

// A box inside a buffer. A size past the end of the buffer is cut to what is there: a truncated file
// still yields what it holds.
struct Box {
    FourCC type{};
    Bytes payload;
};

bool nextBox(Bytes& rest, Box& box) {
    if (rest.size < 8)
        return false;
    std::uint64_t size = be32(rest.data);
    std::size_t header = 8;
    if (size == 1) {
        if (rest.size < 16)
            return false;
        size = be64(rest.data + 8);
        header = 16;
    } else if (size == 0) {
        size = rest.size;
    }
    if (size < header)
        return false;
    if (size > rest.size)
        size = rest.size;
    std::memcpy(box.type.data(), rest.data + 4, 4);
    box.payload = Bytes{rest.data + header, static_cast<std::size_t>(size) - header};
    rest = rest.from(static_cast<std::size_t>(size));
    return true;
}

// Four-character codes and keys as identifiers: printable ASCII stays, every other byte (and the
// percent sign itself) is percent-escaped, so 0xA9 reads "%A9".
std::string escaped(const char* text, std::size_t length) {
    static const char hex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(length);
    for (std::size_t i = 0; i < length; ++i) {
        auto c = static_cast<unsigned char>(text[i]);
        if (c < 0x20 || c > 0x7E || c == '%') {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 0xF];
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

bool isValidUtf8(Bytes bytes) {
    std::size_t i = 0;
    while (i < bytes.size) {
        unsigned char c = bytes.data[i];
        std::size_t extra = c < 0x80           ? 0
                            : (c >> 5) == 0x6  ? 1
                            : (c >> 4) == 0xE  ? 2
                            : (c >> 3) == 0x1E ? 3
                                               : 9;
        if (extra == 9 || (extra > 0 && i + extra >= bytes.size))
            return false;
        for (std::size_t k = 1; k <= extra; ++k)
            if ((bytes.data[i + k] & 0xC0) != 0x80)
                return false;
        i += extra + 1;
    }
    return true;
}

std::string latin1ToUtf8(Bytes bytes) {
    std::string out;
    out.reserve(bytes.size);
    for (std::size_t i = 0; i < bytes.size; ++i) {
        unsigned char c = bytes.data[i];
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            out += static_cast<char>(0xC0 | c >> 6);
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

std::string utf16BigEndianToUtf8(Bytes bytes) {
    std::string out;
    for (std::size_t i = 0; i + 1 < bytes.size; i += 2) {
        std::uint32_t unit = be16(bytes.data + i);
        if (unit >= 0xD800 && unit < 0xDC00 && i + 3 < bytes.size) {
            std::uint32_t low = be16(bytes.data + i + 2);
            if (low >= 0xDC00 && low < 0xE000) {
                unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
                i += 2;
            }
        }
        if (unit < 0x80) {
            out += static_cast<char>(unit);
        } else if (unit < 0x800) {
            out += static_cast<char>(0xC0 | unit >> 6);
            out += static_cast<char>(0x80 | (unit & 0x3F));
        } else if (unit < 0x10000) {
            out += static_cast<char>(0xE0 | unit >> 12);
            out += static_cast<char>(0x80 | (unit >> 6 & 0x3F));
            out += static_cast<char>(0x80 | (unit & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | unit >> 18);
            out += static_cast<char>(0x80 | (unit >> 12 & 0x3F));
            out += static_cast<char>(0x80 | (unit >> 6 & 0x3F));
            out += static_cast<char>(0x80 | (unit & 0x3F));
        }
    }
    return out;
}

// Raw user data that is text, as cameras write it ("HD5.02.02.00.00", "FC6310", often padded with
// zero bytes): the bytes before the first zero, when only zeros follow and no control bytes occur.
std::optional<std::string> plainText(Bytes bytes) {
    std::size_t length = 0;
    while (length < bytes.size && bytes.data[length] != 0)
        ++length;
    for (std::size_t i = length; i < bytes.size; ++i)
        if (bytes.data[i] != 0)
            return std::nullopt;
    Bytes text = bytes.prefix(length);
    for (std::size_t i = 0; i < text.size; ++i) {
        unsigned char c = text.data[i];
        if (c < 0x20 && c != '\t' && c != '\n' && c != '\r')
            return std::nullopt;
        if (c == 0x7F)
            return std::nullopt;
    }
    if (isValidUtf8(text))
        return std::string(reinterpret_cast<const char*>(text.data), text.size);
    return latin1ToUtf8(text);
}

class Reader {
public:
    explicit Reader(ByteSource& source) : source_(source) {}

    std::optional<ContainerMetadata> read();

private:
    struct Header {
        FourCC type{};
        std::uint64_t payloadOffset = 0;
        std::uint64_t end = 0;
    };

    bool readHeader(std::uint64_t offset, std::uint64_t end, Header& header);
    bool readPayload(const Header& header, std::vector<std::uint8_t>& into);
    void readMoov(std::uint64_t start, std::uint64_t end);
    void readTrack(std::uint64_t start, std::uint64_t end);
    void readMovieHeader(Bytes payload);
    void readUserData(Bytes payload, int depth);
    void readMeta(Bytes payload, int depth);
    void readItemList(Bytes list, const std::vector<std::string>& keys, bool keyed);
    void addDataItems(const std::string& identifier, Bytes payload);
    void addItem(std::string identifier, std::optional<std::string> value);

    ByteSource& source_;
    ContainerMetadata metadata_;
    bool quickTime_ = true; // no ftyp, or major brand "qt  "
    std::optional<Instant> movieCreation_;
};

bool Reader::readHeader(std::uint64_t offset, std::uint64_t end, Header& header) {
    if (offset > end || end - offset < 8)
        return false;
    std::uint8_t bytes[16];
    if (!source_.read(offset, bytes, 8))
        return false;
    std::uint64_t size = be32(bytes);
    std::uint64_t headerSize = 8;
    if (size == 1) {
        if (end - offset < 16 || !source_.read(offset + 8, bytes + 8, 8))
            return false;
        size = be64(bytes + 8);
        headerSize = 16;
    } else if (size == 0) {
        size = end - offset;
    }
    if (size < headerSize)
        return false;
    if (size > end - offset)
        size = end - offset;
    std::memcpy(header.type.data(), bytes + 4, 4);
    header.payloadOffset = offset + headerSize;
    header.end = offset + size;
    return true;
}

bool Reader::readPayload(const Header& header, std::vector<std::uint8_t>& into) {
    std::uint64_t length = header.end - header.payloadOffset;
    if (length > maxMetadataBoxSize)
        return false;
    into.resize(static_cast<std::size_t>(length));
    return source_.read(header.payloadOffset, into.data(), into.size());
}

std::optional<ContainerMetadata> Reader::read() {
    static const FourCC topLevelTypes[] = {fourCC("ftyp"), fourCC("moov"), fourCC("mdat"), fourCC("wide"),
                                           fourCC("free"), fourCC("skip"), fourCC("pnot"), fourCC("uuid")};
    const std::uint64_t end = source_.size();
    Header header;
    if (!readHeader(0, end, header))
        return std::nullopt;
    bool known = false;
    for (const auto& type : topLevelTypes)
        known |= header.type == type;
    if (!known)
        return std::nullopt;

    std::uint64_t offset = 0;
    for (int count = 0; count < maxTopLevelBoxes && readHeader(offset, end, header); ++count) {
        if (header.type == fourCC("ftyp")) {
            std::uint8_t brand[4];
            if (header.end - header.payloadOffset >= 4 && source_.read(header.payloadOffset, brand, 4))
                quickTime_ = std::memcmp(brand, "qt  ", 4) == 0;
        } else if (header.type == fourCC("moov")) {
            readMoov(header.payloadOffset, header.end);
            break; // everything Wakeline reads lives in the movie box
        }
        offset = header.end;
    }

    // The keyed creation date names its zone; the movie header's does not, so it comes second.
    for (const auto& item : metadata_.items) {
        if (item.identifier == "mdta/com.apple.quicktime.creationdate" && item.stringValue) {
            if (auto date = parseIso8601WithZone(*item.stringValue)) {
                metadata_.creationDate = date;
                break;
            }
        }
    }
    if (!metadata_.creationDate)
        metadata_.creationDate = movieCreation_;
    return std::move(metadata_);
}

void Reader::readMoov(std::uint64_t start, std::uint64_t end) {
    Header header;
    std::vector<std::uint8_t> payload;
    std::uint64_t offset = start;
    for (int count = 0; count < maxMoovChildren && readHeader(offset, end, header); ++count) {
        bool movieHeader = header.type == fourCC("mvhd");
        bool userData = header.type == fourCC("udta");
        bool meta = header.type == fourCC("meta");
        if (header.type == fourCC("trak"))
            readTrack(header.payloadOffset, header.end);
        else if ((movieHeader || userData || meta) && readPayload(header, payload)) {
            Bytes bytes{payload.data(), payload.size()};
            if (movieHeader)
                readMovieHeader(bytes);
            else if (userData)
                readUserData(bytes, 1);
            else
                readMeta(bytes, 1);
        }
        offset = header.end;
    }
}

// Only whether the track is timed metadata (a GoPro's GPS and motion, say): trak/mdia/hdlr, whose
// handler type follows its version, flags and a reserved word. The sample tables are not read.
void Reader::readTrack(std::uint64_t start, std::uint64_t end) {
    Header header;
    for (std::uint64_t offset = start; readHeader(offset, end, header); offset = header.end) {
        if (header.type != fourCC("mdia"))
            continue;
        Header child;
        for (std::uint64_t at = header.payloadOffset; readHeader(at, header.end, child); at = child.end) {
            std::uint8_t handler[4];
            if (child.type == fourCC("hdlr") && child.end - child.payloadOffset >= 12 &&
                source_.read(child.payloadOffset + 8, handler, 4) && std::memcmp(handler, "meta", 4) == 0)
                metadata_.hasTimedMetadataTrack = true;
        }
        return;
    }
}

void Reader::readMovieHeader(Bytes payload) {
    if (payload.size < 1)
        return;
    std::uint64_t creation = 0, timescale = 0, duration = 0;
    bool durationKnown = true;
    if (payload.data[0] == 1) {
        if (payload.size < 32)
            return;
        creation = be64(payload.data + 4);
        timescale = be32(payload.data + 20);
        duration = be64(payload.data + 24);
        durationKnown = duration != std::numeric_limits<std::uint64_t>::max();
    } else {
        if (payload.size < 20)
            return;
        creation = be32(payload.data + 4);
        timescale = be32(payload.data + 12);
        duration = be32(payload.data + 16);
        durationKnown = duration != std::numeric_limits<std::uint32_t>::max();
    }
    if (creation != 0)
        movieCreation_ = Instant::fromUnix(static_cast<double>(creation) - quickTimeEpochToUnix);
    if (timescale != 0 && durationKnown)
        metadata_.duration = static_cast<double>(duration) / static_cast<double>(timescale);
}

void Reader::addItem(std::string identifier, std::optional<std::string> value) {
    if (metadata_.items.size() < maxItems)
        metadata_.items.push_back({std::move(identifier), std::move(value)});
}

// One value box ("data") of an item list entry: a type indicator, a locale, then the value. Text
// comes as UTF-8 or UTF-16; numbers and pictures are values without text.
void Reader::addDataItems(const std::string& identifier, Bytes payload) {
    Box box;
    while (nextBox(payload, box)) {
        if (box.type != fourCC("data") || box.payload.size < 8)
            continue;
        std::uint32_t type = be32(box.payload.data) & 0xFFFFFF;
        Bytes value = box.payload.from(8);
        std::optional<std::string> text;
        if (type == 1 || type == 4)
            text = isValidUtf8(value) ? std::string(reinterpret_cast<const char*>(value.data), value.size)
                                      : latin1ToUtf8(value);
        else if (type == 2 || type == 5)
            text = utf16BigEndianToUtf8(value);
        addItem(identifier, std::move(text));
    }
}

void Reader::readUserData(Bytes payload, int depth) {
    const std::string prefix = quickTime_ ? "udta/" : "uiso/";
    Box box;
    while (nextBox(payload, box)) {
        if (box.type == fourCC("meta")) {
            readMeta(box.payload, depth + 1);
            continue;
        }
        std::string identifier = prefix + escaped(box.type.data(), 4);
        // Some writers wrap user data in iTunes-style value boxes.
        if (box.payload.size >= 16 && Bytes{box.payload.data + 4, 4}.startsWith("data")) {
            addDataItems(identifier, box.payload);
            continue;
        }
        // QuickTime text entries ("\xA9xyz" codes): a 16-bit length, a 16-bit language, then the text.
        // DJI writes some of these codes as bare text instead; the length check tells the two apart.
        if (static_cast<unsigned char>(box.type[0]) == 0xA9 && box.payload.size >= 4) {
            std::size_t length = be16(box.payload.data);
            std::uint16_t language = be16(box.payload.data + 2);
            if (length > 0 && 4 + length <= box.payload.size) {
                Bytes text{box.payload.data + 4, length};
                if (text.size >= 2 && text.data[0] == 0xFE && text.data[1] == 0xFF)
                    addItem(identifier, utf16BigEndianToUtf8(text.from(2)));
                else if (language < 0x400 && language != 0 && !isValidUtf8(text))
                    addItem(identifier, latin1ToUtf8(text)); // a Macintosh language code: Mac text
                else
                    addItem(identifier, plainText(text).value_or(latin1ToUtf8(text)));
                continue;
            }
        }
        addItem(identifier, plainText(box.payload));
    }
}

// A meta box: a handler, optionally a key table, and an item list. QuickTime writes it as a plain
// box, ISO files as a full box with four bytes of version and flags first.
void Reader::readMeta(Bytes payload, int depth) {
    if (depth > maxNesting)
        return;
    if (payload.size >= 8 && !Bytes{payload.data + 4, 4}.startsWith("hdlr") &&
        !Bytes{payload.data + 4, 4}.startsWith("keys") && !Bytes{payload.data + 4, 4}.startsWith("ilst"))
        payload = payload.from(4);
    std::vector<std::string> keys;
    bool keyed = false;
    Bytes list;
    Box box;
    while (nextBox(payload, box)) {
        if (box.type == fourCC("hdlr")) {
            if (box.payload.size >= 12 && Bytes{box.payload.data + 8, 4}.startsWith("mdta"))
                keyed = true;
        } else if (box.type == fourCC("keys")) {
            keyed = true;
            if (box.payload.size < 8)
                continue;
            // The count is only a hint: each entry must fit in the box.
            std::uint32_t count = be32(box.payload.data + 4);
            Bytes entries = box.payload.from(8);
            for (std::uint32_t i = 0; i < count && entries.size >= 8 && keys.size() < maxItems; ++i) {
                std::uint32_t size = be32(entries.data);
                if (size < 8 || size > entries.size)
                    break;
                keys.push_back(escaped(reinterpret_cast<const char*>(entries.data + 4), 4) + "/" +
                               escaped(reinterpret_cast<const char*>(entries.data + 8), size - 8));
                entries = entries.from(size);
            }
        } else if (box.type == fourCC("ilst")) {
            list = box.payload;
        }
    }
    readItemList(list, keys, keyed);
}

void Reader::readItemList(Bytes list, const std::vector<std::string>& keys, bool keyed) {
    Box box;
    while (nextBox(list, box)) {
        std::string identifier;
        if (keyed) {
            std::uint32_t index = be32(reinterpret_cast<const std::uint8_t*>(box.type.data()));
            if (index == 0 || index > keys.size())
                continue;
            identifier = keys[index - 1];
        } else {
            identifier = "itsk/" + escaped(box.type.data(), 4);
        }
        addDataItems(identifier, box.payload);
    }
}

} // namespace

std::optional<ContainerMetadata> IsoBoxReader::read(ByteSource& source) {
    return Reader(source).read();
}
