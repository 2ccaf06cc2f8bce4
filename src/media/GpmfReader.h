#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// One key-length-value entry of GoPro's metadata format: a four-character key, a type character
// (0 for a container of further entries), the size of one element and how many there are. The
// values are big-endian and padded to four bytes. `data` points into the bytes given to the reader,
// which must outlive the entries.
struct GpmfEntry {
    std::string key; // four characters
    char type = 0;
    std::uint8_t structSize = 0;
    std::uint16_t repeat = 0;
    std::span<const std::uint8_t> data;
    std::vector<GpmfEntry> children;

    bool isContainer() const { return type == 0; }
    // The first child with this key.
    const GpmfEntry* child(std::string_view wanted) const;
    // Text of a 'c' or 'U' entry, up to its first NUL.
    std::string text() const;
    // Every number, element after element, as doubles: the scalar types b B s S l L j J f d q Q,
    // and for a '?' entry the element layout `complexType` (a TYPE entry's text). Empty when the
    // type is not numeric or the sizes do not fit together.
    std::vector<double> numbers(std::string_view complexType = {}) const;
    // How many numbers make one element.
    std::size_t valuesPerElement(std::string_view complexType = {}) const;
};

class GpmfReader {
public:
    // The entries of a payload. A length that runs past the end or a key that is not printable ends
    // the walk at that point: what came before is kept, nothing outside `bytes` is ever read.
    static std::vector<GpmfEntry> parse(std::span<const std::uint8_t> bytes);
};
