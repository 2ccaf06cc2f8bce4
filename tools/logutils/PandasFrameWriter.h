#pragma once

#include "boatlog/hdf5/Hdf5File.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// Writes a table the way pandas writes a frame with to_hdf(format="fixed"), so that
// pandas.read_hdf reads it back as the same table: a group with the frame's attributes, the column
// names twice (axis0 and block0_items), the row index (axis1, float64) and one block of doubles,
// each with the attributes PyTables gives an array. Runs on the thread that owns HDF5.
class PandasFrameWriter {
public:
    explicit PandasFrameWriter(Hdf5File& file) : file_(file) {}

    // Fills rows [first, first + count), row-major. Called in ascending order, one call at a
    // time, but not on the writer's thread: slabs are computed while the one before is written.
    using RowSource = std::function<void(std::uint64_t first, std::uint64_t count, double* out)>;

    // The attributes PyTables puts on the root group of every file it writes.
    bool writeRootAttributes();
    bool writeFrame(const std::string& group, const std::vector<std::string>& columns, const double* index,
                    std::uint64_t rows, const RowSource& rowSource);
    // A JSON text as one byte per element of the uint8 dataset `/name/values`.
    bool writeJson(const std::string& name, const std::string& json);

private:
    bool writeGroupAttributes(const std::string& path);
    bool writeArrayAttributes(const std::string& path, const char* kind);

    Hdf5File& file_;
};
