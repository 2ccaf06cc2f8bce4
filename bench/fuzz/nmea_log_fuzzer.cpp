// libFuzzer target: the NMEA 0183 reader on arbitrary bytes.
#include "ReaderChecks.h"
#include "readers/NmeaReader.h"

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    LineReader lines = LineReader::fromMemory(std::string_view(reinterpret_cast<const char*>(data), size));
    InputTable table;
    std::string error;
    if (NmeaReader::read(lines, table, error))
        checkTable(table);
    return 0;
}
