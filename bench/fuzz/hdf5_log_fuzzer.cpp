// libFuzzer target: the reader of converted logs on arbitrary files. The HDF5 library needs a
// path, so each input is written to one scratch file of this process first. Damage that the HDF5
// library itself cannot survive shows up here too.
#include "ReaderChecks.h"
#include "readers/Hdf5LogReader.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = "/tmp/fuzz_hdf5_log-" + std::to_string(::getpid()) + ".hdf5";
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return 0;
    std::fwrite(data, 1, size, file);
    std::fclose(file);
    InputTable table;
    std::string error;
    if (Hdf5LogReader::read(path, table, error))
        checkTable(table);
    return 0;
}
