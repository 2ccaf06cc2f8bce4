#include "media/GpmfReader.h"

#include <algorithm>
#include <cstring>

namespace {

// Containers nest DEVC > STRM > values; anything deeper than this is garbage, not a camera's file.
constexpr int maximumDepth = 8;

std::size_t sizeOfType(char type) {
    switch (type) {
    case 'b':
    case 'B':
    case 'c':
        return 1;
    case 's':
    case 'S':
        return 2;
    case 'l':
    case 'L':
    case 'f':
    case 'q':
    case 'F':
        return 4;
    case 'd':
    case 'j':
    case 'J':
    case 'Q':
        return 8;
    case 'U':
    case 'G':
        return 16;
    default:
        return 0;
    }
}

std::uint64_t bigEndian(const std::uint8_t* bytes, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i)
        value = (value << 8) | bytes[i];
    return value;
}

// One value of a scalar type; false for a type that holds no number.
bool readNumber(char type, const std::uint8_t* bytes, double& out) {
    switch (type) {
    case 'b':
        out = static_cast<std::int8_t>(bytes[0]);
        return true;
    case 'B':
        out = bytes[0];
        return true;
    case 's':
        out = static_cast<std::int16_t>(bigEndian(bytes, 2));
        return true;
    case 'S':
        out = static_cast<std::uint16_t>(bigEndian(bytes, 2));
        return true;
    case 'l':
        out = static_cast<std::int32_t>(bigEndian(bytes, 4));
        return true;
    case 'L':
        out = static_cast<std::uint32_t>(bigEndian(bytes, 4));
        return true;
    case 'j':
        out = static_cast<double>(static_cast<std::int64_t>(bigEndian(bytes, 8)));
        return true;
    case 'J':
        out = static_cast<double>(bigEndian(bytes, 8));
        return true;
    case 'q':
        out = static_cast<std::int32_t>(bigEndian(bytes, 4)) / 65536.0;
        return true;
    case 'Q':
        out = static_cast<double>(static_cast<std::int64_t>(bigEndian(bytes, 8))) / 4294967296.0;
        return true;
    case 'f': {
        const auto bits = static_cast<std::uint32_t>(bigEndian(bytes, 4));
        float value;
        std::memcpy(&value, &bits, sizeof value);
        out = value;
        return true;
    }
    case 'd': {
        const std::uint64_t bits = bigEndian(bytes, 8);
        std::memcpy(&out, &bits, sizeof out);
        return true;
    }
    default:
        return false;
    }
}

bool printableKey(const std::uint8_t* key) {
    for (int i = 0; i < 4; ++i)
        if (key[i] < 0x20 || key[i] > 0x7E)
            return false;
    return true;
}

std::vector<GpmfEntry> parseLevel(std::span<const std::uint8_t> bytes, int depth) {
    std::vector<GpmfEntry> entries;
    std::size_t at = 0;
    while (bytes.size() - at >= 8) {
        const std::uint8_t* header = bytes.data() + at;
        // Payloads end in zero padding; a non-printable key means the rest is not ours to read.
        if (!printableKey(header))
            break;
        GpmfEntry entry;
        entry.key.assign(reinterpret_cast<const char*>(header), 4);
        entry.type = static_cast<char>(header[4]);
        entry.structSize = header[5];
        entry.repeat = static_cast<std::uint16_t>(bigEndian(header + 6, 2));
        const std::size_t length = std::size_t{entry.structSize} * entry.repeat;
        const std::size_t padded = (length + 3) & ~std::size_t{3};
        if (length > bytes.size() - at - 8)
            break; // truncated
        entry.data = bytes.subspan(at + 8, length);
        if (entry.isContainer() && depth < maximumDepth)
            entry.children = parseLevel(entry.data, depth + 1);
        entries.push_back(std::move(entry));
        at += 8 + std::min(padded, bytes.size() - at - 8);
    }
    return entries;
}

} // namespace

const GpmfEntry* GpmfEntry::child(std::string_view wanted) const {
    for (const GpmfEntry& entry : children)
        if (entry.key == wanted)
            return &entry;
    return nullptr;
}

std::string GpmfEntry::text() const {
    if (type != 'c' && type != 'U')
        return {};
    std::string out(reinterpret_cast<const char*>(data.data()), data.size());
    if (auto end = out.find('\0'); end != std::string::npos)
        out.resize(end);
    return out;
}

std::size_t GpmfEntry::valuesPerElement(std::string_view complexType) const {
    if (type == '?')
        return complexType.size();
    const std::size_t size = sizeOfType(type);
    return size == 0 || structSize % size != 0 ? 0 : structSize / size;
}

std::vector<double> GpmfEntry::numbers(std::string_view complexType) const {
    std::vector<double> out;
    if (type == '?') {
        std::size_t elementSize = 0;
        for (char part : complexType) {
            double ignored;
            const std::uint8_t probe[8] = {};
            if (!readNumber(part, probe, ignored))
                return {};
            elementSize += sizeOfType(part);
        }
        if (elementSize == 0 || elementSize != structSize)
            return {};
        out.reserve(repeat * complexType.size());
        for (std::size_t element = 0; element < repeat; ++element) {
            const std::uint8_t* at = data.data() + element * elementSize;
            for (char part : complexType) {
                double value;
                readNumber(part, at, value);
                out.push_back(value);
                at += sizeOfType(part);
            }
        }
        return out;
    }
    const std::size_t size = sizeOfType(type);
    double probe;
    const std::uint8_t zeros[8] = {};
    if (size == 0 || structSize % size != 0 || !readNumber(type, zeros, probe))
        return {};
    const std::size_t count = data.size() / size;
    out.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        double value;
        readNumber(type, data.data() + i * size, value);
        out.push_back(value);
    }
    return out;
}

std::vector<GpmfEntry> GpmfReader::parse(std::span<const std::uint8_t> bytes) {
    return parseLevel(bytes, 0);
}
