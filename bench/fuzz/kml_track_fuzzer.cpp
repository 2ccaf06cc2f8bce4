// libFuzzer target: the KML reader on arbitrary bytes.
#include "ReaderChecks.h"
#include "readers/KmlReader.h"

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    InputTable table;
    std::string error;
    if (KmlReader::read(text, table, error))
        checkTable(table);
    return 0;
}
