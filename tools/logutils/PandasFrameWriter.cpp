#include "PandasFrameWriter.h"

#include "core/UninitializedAllocator.h"

#include <algorithm>
#include <functional>
#include <future>

namespace {
using Cs = Hdf5File::CharacterSet;
// Rows per slab: a few megabytes, so that the table is written without a second copy of it.
constexpr std::uint64_t slabBytes = 4 << 20;
} // namespace

bool PandasFrameWriter::writeGroupAttributes(const std::string& path) {
    return file_.writeStringAttribute(path, "CLASS", "GROUP", Cs::utf8) &&
           file_.writeEmptyStringAttribute(path, "TITLE", Cs::utf8) &&
           file_.writeStringAttribute(path, "VERSION", "1.0", Cs::utf8);
}

bool PandasFrameWriter::writeRootAttributes() {
    return writeGroupAttributes("/") &&
           file_.writeStringAttribute("/", "PYTABLES_FORMAT_VERSION", "2.1", Cs::utf8);
}

// `kind` is pandas' name of an index's type ("string", "float"); the values block has none.
bool PandasFrameWriter::writeArrayAttributes(const std::string& path, const char* kind) {
    bool ok = file_.writeStringAttribute(path, "CLASS", "ARRAY", Cs::utf8) &&
              file_.writeStringAttribute(path, "FLAVOR", "numpy", Cs::utf8) &&
              file_.writeEmptyStringAttribute(path, "TITLE", Cs::utf8) &&
              file_.writeStringAttribute(path, "VERSION", "2.4", Cs::utf8);
    if (ok && kind)
        ok = file_.writeStringAttribute(path, "kind", kind, Cs::utf8) &&
             file_.writeStringAttribute(path, "name", "N.", Cs::ascii);
    return ok && file_.writeBooleanAttribute(path, "transposed", true);
}

bool PandasFrameWriter::writeFrame(const std::string& group, const std::vector<std::string>& columns,
                                   const double* index, std::uint64_t rows, const RowSource& rowSource) {
    const std::string g = group.front() == '/' ? group : "/" + group;
    if (!file_.createGroup(g) || !writeGroupAttributes(g))
        return false;
    bool ok = file_.writeStringAttribute(g, "pandas_type", "frame", Cs::utf8) &&
              file_.writeStringAttribute(g, "pandas_version", "0.15.2", Cs::utf8) &&
              file_.writeStringAttribute(g, "encoding", "UTF-8", Cs::utf8) &&
              file_.writeStringAttribute(g, "errors", "strict", Cs::utf8) &&
              file_.writeIntegerAttribute(g, "ndim", 2) &&
              file_.writeStringAttribute(g, "axis0_variety", "regular", Cs::utf8) &&
              file_.writeStringAttribute(g, "axis1_variety", "regular", Cs::utf8) &&
              file_.writeIntegerAttribute(g, "nblocks", 1) &&
              file_.writeStringAttribute(g, "block0_items_variety", "regular", Cs::utf8);
    if (!ok)
        return false;

    const auto names = Hdf5File::StringStorage::fixedLengthNullTerminated;
    for (const char* item : {"axis0", "block0_items"})
        if (!file_.writeStrings(g + "/" + item, columns, names) ||
            !writeArrayAttributes(g + "/" + item, "string"))
            return false;
    if (!file_.writeDoubles(g + "/axis1", index, {rows}) || !writeArrayAttributes(g + "/axis1", "float"))
        return false;

    const std::string values = g + "/block0_values";
    const std::uint64_t width = columns.size();
    if (!file_.createDoubles(values, {rows, width}) || !writeArrayAttributes(values, nullptr))
        return false;
    const std::uint64_t slabRows =
        std::max<std::uint64_t>(1, slabBytes / (8 * std::max<std::uint64_t>(1, width)));
    // Two slabs: the next one is computed on another thread while this one is written.
    // Uninitialised: every cell is written by the row source.
    using Slab = std::vector<double, UninitializedAllocator<double>>;
    Slab slab, next;
    auto fillSlab = [&](Slab& into, std::uint64_t first) {
        std::uint64_t count = std::min(slabRows, rows - first);
        into.resize(count * width);
        rowSource(first, count, into.data());
    };
    if (rows > 0)
        fillSlab(slab, 0);
    for (std::uint64_t first = 0; first < rows; first += slabRows) {
        std::future<void> filling;
        if (first + slabRows < rows)
            filling = std::async(std::launch::async, fillSlab, std::ref(next), first + slabRows);
        bool written = file_.writeDoubleRows(values, first, std::min(slabRows, rows - first), slab.data());
        if (filling.valid())
            filling.get();
        if (!written)
            return false;
        slab.swap(next);
    }
    return true;
}

bool PandasFrameWriter::writeJson(const std::string& name, const std::string& json) {
    std::vector<std::int64_t> bytes(json.begin(), json.end());
    for (auto& b : bytes)
        b &= 0xff; // char may be signed; the dataset holds bytes 0…255
    return file_.createGroup("/" + name) &&
           file_.writeIntegers("/" + name + "/values", bytes, Hdf5File::IntegerType::uint8);
}
