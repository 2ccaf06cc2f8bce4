// libFuzzer target: the GPX reader on arbitrary bytes, read whole and in pieces.
#include "ReaderChecks.h"
#include "readers/GpxReader.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    std::string copy = text;
    InputTable table;
    std::string error;
    const bool read = GpxReader::read(text, table, error, 0);
    // Pieces of a few bytes, so that short inputs are cut too: the same points, the same answer.
    InputTable pieces;
    std::string piecesError;
    if (GpxReader::read(copy, pieces, piecesError, 16) != read || pieces.rowCount() != table.rowCount() ||
        piecesError != error || pieces.skipped.lines().count != table.skipped.lines().count)
        std::abort();
    if (read)
        checkTable(table);
    return 0;
}
