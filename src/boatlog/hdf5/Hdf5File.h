#pragma once

#include "boatlog/hdf5/Hdf5Handle.h"
#include "core/UninitializedAllocator.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

using DoubleArray = std::vector<double, UninitializedAllocator<double>>;

// One HDF5 file: open or create, list the root group, read whole datasets by path and write them.
// Every call must run on SerialQueue::hdf(). Failures are answers (none, false), never exceptions:
// a broken file is a user's problem to be told about, not a crash.
class Hdf5File {
public:
    struct DoubleData {
        DoubleArray values;
        std::vector<std::uint64_t> shape;
    };
    // fixedLength pads with NULs; fixedLengthNullTerminated is the same bytes marked the way
    // numpy and PyTables mark their fixed strings.
    enum class StringStorage { fixedLength, variableLength, fixedLengthNullTerminated };
    enum class CharacterSet { ascii, utf8 };
    enum class IntegerType { uint8, int64 };
    // What a dataset's elements are, as far as reading them as numbers goes. Booleans are numpy's
    // bool as PyTables stores it: one-byte bitfields.
    enum class ElementKind { number, boolean, text, other };
    struct DatasetInfo {
        ElementKind kind;
        std::vector<std::uint64_t> shape;
        bool integer = false; // a number of an integer type
    };

    static std::optional<Hdf5File> openReadOnly(const std::string& path);
    static std::optional<Hdf5File> openReadWrite(const std::string& path);
    static std::optional<Hdf5File> create(const std::string& path);

    hid_t id() const { return file_.get(); }

    // Names of the objects in the root group, or none when the group cannot be read.
    std::optional<std::vector<std::string>> rootNames() const;
    bool exists(const std::string& path) const;
    bool hasAttribute(const std::string& objectPath, const std::string& name) const;
    // A scalar string attribute (fixed or variable length), or none when it is missing or not text.
    std::optional<std::string> readStringAttribute(const std::string& objectPath,
                                                   const std::string& name) const;
    // The size of the file in bytes, or none when the library cannot tell.
    std::optional<std::uint64_t> fileSize() const;
    // The kind and shape of a dataset, or none when it is missing.
    std::optional<DatasetInfo> info(const std::string& path) const;
    // Whether the file stores enough of a dataset to be its data. A damaged header can claim any
    // size, and the library fills in what the file lacks; whole reads make this check themselves.
    bool storesData(const std::string& path) const;

    // A rank-1 dataset of fixed- or variable-length strings.
    std::optional<std::vector<std::string>> readStrings(const std::string& path) const;
    // A dataset of any numeric or boolean type and a rank in [minRank, maxRank], converted to
    // double (a boolean is 0 or 1).
    std::optional<DoubleData> readDoubles(const std::string& path, int minRank = 1, int maxRank = 1) const;
    // A dataset of an integer type of any rank, flattened.
    std::optional<std::vector<std::int64_t>> readIntegers(const std::string& path) const;

    bool createGroup(const std::string& path);
    bool writeStrings(const std::string& path, const std::vector<std::string>& strings,
                      StringStorage storage);
    bool writeDoubles(const std::string& path, const double* data, const std::vector<std::uint64_t>& shape);
    bool writeIntegers(const std::string& path, const std::vector<std::int64_t>& data, IntegerType type);
    bool writeStringAttribute(const std::string& objectPath, const std::string& name,
                              const std::string& value);
    bool writeIntegerAttribute(const std::string& objectPath, const std::string& name, std::int64_t value);
    bool writeStringAttribute(const std::string& objectPath, const std::string& name,
                              const std::string& value, CharacterSet characterSet);
    // A one-character string attribute with an empty (null) dataspace: PyTables' empty TITLE.
    bool writeEmptyStringAttribute(const std::string& objectPath, const std::string& name,
                                   CharacterSet characterSet);
    // An 8-bit bitfield attribute, the way numpy's bool reaches HDF5.
    bool writeBooleanAttribute(const std::string& objectPath, const std::string& name, bool value);

    // Tables too large to hold twice in memory are written in slabs of whole rows: the dataset is
    // created first (rank 1 or 2), then filled row range by row range.
    bool createDoubles(const std::string& path, const std::vector<std::uint64_t>& shape);
    bool writeDoubleRows(const std::string& path, std::uint64_t firstRow, std::uint64_t rowCount,
                         const double* data);
    // Rows [firstRow, firstRow + rowCount) of a rank-1 or rank-2 numeric or boolean dataset,
    // converted to double, into `data` (rowCount × columns values).
    bool readDoubleRows(const std::string& path, std::uint64_t firstRow, std::uint64_t rowCount,
                        double* data) const;
    // The shape of a dataset, or none when it is missing.
    std::optional<std::vector<std::uint64_t>> shape(const std::string& path) const;
    bool flush();

private:
    explicit Hdf5File(Hdf5FileHandle file) : file_(std::move(file)) {}
    Hdf5DatasetHandle openDataset(const std::string& path) const;
    template <typename Buffer>
    std::optional<Buffer> readNumeric(const std::string& path, int minRank, int maxRank,
                                      std::vector<std::uint64_t>* shape) const;
    bool writeDataset(const std::string& path, hid_t fileType, hid_t memoryType, const void* data,
                      const std::vector<std::uint64_t>& shape);
    bool writeAttribute(const std::string& objectPath, const std::string& name, hid_t fileType, hid_t space,
                        hid_t memoryType, const void* data);

    Hdf5FileHandle file_;
};
