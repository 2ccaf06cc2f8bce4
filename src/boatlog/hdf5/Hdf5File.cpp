#include "boatlog/hdf5/Hdf5File.h"

#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <stdexcept>
#include <type_traits>

namespace {

// HDF5 prints its error stack to stderr by default; our callers report failures themselves.
void silenceErrorStack() {
    static std::once_flag once;
    std::call_once(once, [] { H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr); });
}

Hdf5File::ElementKind kindOf(hid_t type) {
    switch (H5Tget_class(type)) {
    case H5T_INTEGER:
    case H5T_FLOAT:
    case H5T_ENUM: { // h5py's bool; the library converts enumerations to numbers
        // The library sizes its conversion buffers by the element: a damaged type can claim any.
        std::size_t size = H5Tget_size(type);
        return size > 0 && size <= 16 ? Hdf5File::ElementKind::number : Hdf5File::ElementKind::other;
    }
    case H5T_BITFIELD:
        return H5Tget_size(type) == 1 ? Hdf5File::ElementKind::boolean : Hdf5File::ElementKind::other;
    case H5T_STRING:
    case H5T_VLEN: // pandas stores a column of Python objects as pickled variable-length bytes
        return Hdf5File::ElementKind::text;
    default:
        return Hdf5File::ElementKind::other;
    }
}

bool readableAsDoubles(Hdf5File::ElementKind kind) {
    return kind == Hdf5File::ElementKind::number || kind == Hdf5File::ElementKind::boolean;
}

// The library converts no bitfield to a number: booleans are read as their bytes into the start
// of the buffer, then widened in place from the last one, so that no byte is overwritten before
// it is read.
void widenBooleans(double* data, std::size_t count) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(data);
    for (std::size_t i = count; i-- > 0;)
        data[i] = bytes[i] != 0 ? 1.0 : 0.0;
}

std::optional<std::vector<hsize_t>> shapeOf(hid_t dataset) {
    Hdf5DataspaceHandle space(H5Dget_space(dataset));
    if (!space)
        return std::nullopt;
    int rank = H5Sget_simple_extent_ndims(space.get());
    if (rank < 0)
        return std::nullopt;
    std::vector<hsize_t> dims(static_cast<std::size_t>(rank));
    if (rank > 0 && H5Sget_simple_extent_dims(space.get(), dims.data(), nullptr) < 0)
        return std::nullopt;
    return dims;
}

// A damaged header can claim any size, and the library fills in what the file does not hold or
// reads past what it does: a dataset is read only when the file stores enough of it to be its
// data. Without chunks nothing is compressed, so that is every byte (data never written is no
// log's data either); chunks may be deflated (at most about 1:1030), and small chunked datasets
// may be fill values.
bool storedEnough(hid_t dataset, std::size_t count, std::size_t elementBytes) {
    constexpr std::uint64_t anySize = 1 << 20;
    constexpr std::uint64_t compression = 1100;
    std::uint64_t bytes = 0;
    if (__builtin_mul_overflow(std::uint64_t{count}, std::uint64_t{elementBytes}, &bytes))
        return false;
    if (bytes == 0)
        return true;
    const hsize_t stored = H5Dget_storage_size(dataset);
    Hdf5PropertyListHandle creation(H5Dget_create_plist(dataset));
    if (!creation || H5Pget_layout(creation.get()) != H5D_CHUNKED)
        return stored >= bytes;
    return bytes <= anySize || bytes / compression <= stored;
}

std::optional<std::size_t> elementCount(const std::vector<hsize_t>& dims) {
    std::size_t count = 1;
    for (hsize_t d : dims) {
        if (d != 0 && count > std::numeric_limits<std::size_t>::max() / d)
            return std::nullopt;
        count *= static_cast<std::size_t>(d);
    }
    return count;
}

} // namespace

std::optional<Hdf5File> Hdf5File::openReadOnly(const std::string& path) {
    silenceErrorStack();
    Hdf5FileHandle file(H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT));
    if (!file)
        return std::nullopt;
    return Hdf5File(std::move(file));
}

std::optional<Hdf5File> Hdf5File::openReadWrite(const std::string& path) {
    silenceErrorStack();
    Hdf5FileHandle file(H5Fopen(path.c_str(), H5F_ACC_RDWR, H5P_DEFAULT));
    if (!file)
        return std::nullopt;
    return Hdf5File(std::move(file));
}

std::optional<Hdf5File> Hdf5File::create(const std::string& path) {
    silenceErrorStack();
    Hdf5FileHandle file(H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT));
    if (!file)
        return std::nullopt;
    return Hdf5File(std::move(file));
}

std::optional<std::vector<std::string>> Hdf5File::rootNames() const {
    Hdf5GroupHandle root(H5Gopen2(file_.get(), "/", H5P_DEFAULT));
    if (!root)
        return std::nullopt;
    H5G_info_t info;
    if (H5Gget_info(root.get(), &info) < 0)
        return std::nullopt;
    std::vector<std::string> names;
    for (hsize_t i = 0; i < info.nlinks; ++i) {
        ssize_t length =
            H5Lget_name_by_idx(root.get(), ".", H5_INDEX_NAME, H5_ITER_INC, i, nullptr, 0, H5P_DEFAULT);
        if (length < 0)
            return std::nullopt;
        std::string name(static_cast<std::size_t>(length), '\0');
        H5Lget_name_by_idx(root.get(), ".", H5_INDEX_NAME, H5_ITER_INC, i, name.data(), name.size() + 1,
                           H5P_DEFAULT);
        names.push_back(std::move(name));
    }
    return names;
}

bool Hdf5File::exists(const std::string& path) const {
    // Each component must exist before the next one may be asked about.
    std::size_t position = 0;
    while ((position = path.find('/', position + 1)) != std::string::npos) {
        if (H5Lexists(file_.get(), path.substr(0, position).c_str(), H5P_DEFAULT) <= 0)
            return false;
    }
    return H5Lexists(file_.get(), path.c_str(), H5P_DEFAULT) > 0;
}

bool Hdf5File::hasAttribute(const std::string& objectPath, const std::string& name) const {
    return exists(objectPath) &&
           H5Aexists_by_name(file_.get(), objectPath.c_str(), name.c_str(), H5P_DEFAULT) > 0;
}

std::optional<std::string> Hdf5File::readStringAttribute(const std::string& objectPath,
                                                         const std::string& name) const {
    if (!hasAttribute(objectPath, name))
        return std::nullopt;
    Hdf5AttributeHandle attribute(
        H5Aopen_by_name(file_.get(), objectPath.c_str(), name.c_str(), H5P_DEFAULT, H5P_DEFAULT));
    Hdf5DatatypeHandle fileType(attribute ? H5Aget_type(attribute.get()) : H5I_INVALID_HID);
    Hdf5DataspaceHandle space(attribute ? H5Aget_space(attribute.get()) : H5I_INVALID_HID);
    if (!fileType || !space || H5Tget_class(fileType.get()) != H5T_STRING ||
        H5Sget_simple_extent_type(space.get()) != H5S_SCALAR)
        return std::nullopt;
    Hdf5DatatypeHandle memoryType(H5Tcopy(H5T_C_S1));
    H5Tset_cset(memoryType.get(), H5Tget_cset(fileType.get())); // the library converts no character set
    if (H5Tis_variable_str(fileType.get()) > 0) {
        H5Tset_size(memoryType.get(), H5T_VARIABLE);
        char* text = nullptr;
        if (H5Aread(attribute.get(), memoryType.get(), &text) < 0)
            return std::nullopt;
        std::string value = text ? text : "";
        H5free_memory(text);
        return value;
    }
    // An attribute is small by the format's rules (64 KiB unless stored densely); a damaged one
    // may claim more.
    std::size_t width = H5Tget_size(fileType.get());
    if (width == 0 || width > (1u << 20))
        return std::nullopt;
    H5Tset_size(memoryType.get(), width);
    H5Tset_strpad(memoryType.get(), H5T_STR_NULLPAD);
    std::string buffer(width, '\0');
    if (H5Aread(attribute.get(), memoryType.get(), buffer.data()) < 0)
        return std::nullopt;
    buffer.resize(strnlen(buffer.data(), width));
    return buffer;
}

std::optional<std::uint64_t> Hdf5File::fileSize() const {
    hsize_t size = 0;
    if (H5Fget_filesize(file_.get(), &size) < 0)
        return std::nullopt;
    return size;
}

bool Hdf5File::storesData(const std::string& path) const {
    Hdf5DatasetHandle dataset = openDataset(path);
    if (!dataset)
        return false;
    Hdf5DatatypeHandle type(H5Dget_type(dataset.get()));
    auto dims = shapeOf(dataset.get());
    auto count = dims ? elementCount(*dims) : std::nullopt;
    return type && count && storedEnough(dataset.get(), *count, H5Tget_size(type.get()));
}

std::optional<Hdf5File::DatasetInfo> Hdf5File::info(const std::string& path) const {
    Hdf5DatasetHandle dataset = openDataset(path);
    if (!dataset)
        return std::nullopt;
    Hdf5DatatypeHandle type(H5Dget_type(dataset.get()));
    auto dims = shapeOf(dataset.get());
    if (!type || !dims)
        return std::nullopt;
    return DatasetInfo{kindOf(type.get()), std::vector<std::uint64_t>(dims->begin(), dims->end()),
                       H5Tget_class(type.get()) == H5T_INTEGER};
}

Hdf5DatasetHandle Hdf5File::openDataset(const std::string& path) const {
    if (!exists(path))
        return Hdf5DatasetHandle();
    return Hdf5DatasetHandle(H5Dopen2(file_.get(), path.c_str(), H5P_DEFAULT));
}

std::optional<std::vector<std::string>> Hdf5File::readStrings(const std::string& path) const {
    Hdf5DatasetHandle dataset = openDataset(path);
    if (!dataset)
        return std::nullopt;
    Hdf5DatatypeHandle fileType(H5Dget_type(dataset.get()));
    if (!fileType || H5Tget_class(fileType.get()) != H5T_STRING)
        return std::nullopt;
    auto dims = shapeOf(dataset.get());
    if (!dims || dims->size() != 1)
        return std::nullopt;
    std::size_t count = (*dims)[0];
    if (!storedEnough(dataset.get(), count, H5Tget_size(fileType.get())))
        return std::nullopt;
    std::vector<std::string> strings;
    try {
        // A damaged header can claim any count: the allocation must fail inside the try.
        strings.reserve(count);
        if (H5Tis_variable_str(fileType.get()) > 0) {
            Hdf5DatatypeHandle memoryType(H5Tcopy(H5T_C_S1));
            H5Tset_size(memoryType.get(), H5T_VARIABLE);
            H5Tset_cset(memoryType.get(), H5Tget_cset(fileType.get()));
            std::vector<char*> pointers(count, nullptr);
            if (H5Dread(dataset.get(), memoryType.get(), H5S_ALL, H5S_ALL, H5P_DEFAULT, pointers.data()) < 0)
                return std::nullopt;
            for (char* p : pointers)
                strings.emplace_back(p ? p : "");
            Hdf5DataspaceHandle space(H5Dget_space(dataset.get()));
            H5Dvlen_reclaim(memoryType.get(), space.get(), H5P_DEFAULT, pointers.data());
        } else {
            std::size_t width = H5Tget_size(fileType.get());
            if (width == 0 || count > std::numeric_limits<std::size_t>::max() / width)
                return std::nullopt;
            Hdf5DatatypeHandle memoryType(H5Tcopy(H5T_C_S1));
            H5Tset_size(memoryType.get(), width);
            H5Tset_strpad(memoryType.get(), H5T_STR_NULLPAD);
            H5Tset_cset(memoryType.get(), H5Tget_cset(fileType.get()));
            std::vector<char> buffer(count * width);
            if (count > 0 &&
                H5Dread(dataset.get(), memoryType.get(), H5S_ALL, H5S_ALL, H5P_DEFAULT, buffer.data()) < 0)
                return std::nullopt;
            bool spacePadded = H5Tget_strpad(fileType.get()) == H5T_STR_SPACEPAD;
            for (std::size_t i = 0; i < count; ++i) {
                const char* start = buffer.data() + i * width;
                std::size_t length = strnlen(start, width);
                while (spacePadded && length > 0 && start[length - 1] == ' ')
                    --length;
                strings.emplace_back(start, length);
            }
        }
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    } catch (const std::length_error&) {
        return std::nullopt;
    }
    return strings;
}

// Reads a whole dataset into `Buffer`, converted as it reads: doubles take any number or boolean,
// 64-bit integers any integer type. None when the dataset is missing, of another kind or rank, or
// cannot be read.
template <typename Buffer>
std::optional<Buffer> Hdf5File::readNumeric(const std::string& path, int minRank, int maxRank,
                                            std::vector<std::uint64_t>* shape) const {
    constexpr bool toDouble = std::is_same_v<typename Buffer::value_type, double>;
    Hdf5DatasetHandle dataset = openDataset(path);
    if (!dataset)
        return std::nullopt;
    Hdf5DatatypeHandle fileType(H5Dget_type(dataset.get()));
    if (!fileType)
        return std::nullopt;
    ElementKind kind = kindOf(fileType.get());
    bool integer = kind == ElementKind::number && H5Tget_class(fileType.get()) == H5T_INTEGER;
    if (toDouble ? !readableAsDoubles(kind) : !integer)
        return std::nullopt;
    auto dims = shapeOf(dataset.get());
    if (!dims || static_cast<int>(dims->size()) < minRank || static_cast<int>(dims->size()) > maxRank)
        return std::nullopt;
    auto count = elementCount(*dims);
    if (!count || !storedEnough(dataset.get(), *count, H5Tget_size(fileType.get())))
        return std::nullopt;
    Buffer values;
    try {
        values.resize(*count);
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    } catch (const std::length_error&) {
        return std::nullopt;
    }
    hid_t memoryType = !toDouble                      ? H5T_NATIVE_INT64
                       : kind == ElementKind::boolean ? H5T_NATIVE_B8
                                                      : H5T_NATIVE_DOUBLE;
    if (*count > 0 && H5Dread(dataset.get(), memoryType, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data()) < 0)
        return std::nullopt;
    if constexpr (toDouble) {
        if (kind == ElementKind::boolean)
            widenBooleans(values.data(), *count);
    }
    if (shape)
        shape->assign(dims->begin(), dims->end());
    return values;
}

std::optional<Hdf5File::DoubleData> Hdf5File::readDoubles(const std::string& path, int minRank,
                                                          int maxRank) const {
    DoubleData data;
    auto values = readNumeric<DoubleArray>(path, minRank, maxRank, &data.shape);
    if (!values)
        return std::nullopt;
    data.values = std::move(*values);
    return data;
}

std::optional<std::vector<std::int64_t>> Hdf5File::readIntegers(const std::string& path) const {
    return readNumeric<std::vector<std::int64_t>>(path, 0, 32, nullptr);
}

bool Hdf5File::createGroup(const std::string& path) {
    Hdf5GroupHandle group(H5Gcreate2(file_.get(), path.c_str(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
    return group.valid();
}

bool Hdf5File::writeDataset(const std::string& path, hid_t fileType, hid_t memoryType, const void* data,
                            const std::vector<std::uint64_t>& shape) {
    std::vector<hsize_t> dims(shape.begin(), shape.end());
    Hdf5DataspaceHandle space(H5Screate_simple(static_cast<int>(dims.size()), dims.data(), nullptr));
    if (!space)
        return false;
    Hdf5DatasetHandle dataset(
        H5Dcreate2(file_.get(), path.c_str(), fileType, space.get(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
    if (!dataset)
        return false;
    auto count = elementCount(dims);
    if (count && *count == 0)
        return true;
    return H5Dwrite(dataset.get(), memoryType, H5S_ALL, H5S_ALL, H5P_DEFAULT, data) >= 0;
}

bool Hdf5File::writeStrings(const std::string& path, const std::vector<std::string>& strings,
                            StringStorage storage) {
    std::vector<std::uint64_t> shape{strings.size()};
    if (storage == StringStorage::variableLength) {
        Hdf5DatatypeHandle type(H5Tcopy(H5T_C_S1));
        H5Tset_size(type.get(), H5T_VARIABLE);
        H5Tset_cset(type.get(), H5T_CSET_UTF8);
        std::vector<const char*> pointers;
        for (const auto& s : strings)
            pointers.push_back(s.c_str());
        return writeDataset(path, type.get(), type.get(), pointers.data(), shape);
    }
    std::size_t width = 1;
    for (const auto& s : strings)
        width = std::max(width, s.size());
    std::vector<char> buffer(strings.size() * width, '\0');
    for (std::size_t i = 0; i < strings.size(); ++i)
        std::memcpy(buffer.data() + i * width, strings[i].data(), strings[i].size());
    Hdf5DatatypeHandle type(H5Tcopy(H5T_C_S1));
    H5Tset_size(type.get(), width);
    H5Tset_strpad(type.get(),
                  storage == StringStorage::fixedLengthNullTerminated ? H5T_STR_NULLTERM : H5T_STR_NULLPAD);
    return writeDataset(path, type.get(), type.get(), buffer.data(), shape);
}

bool Hdf5File::writeDoubles(const std::string& path, const double* data,
                            const std::vector<std::uint64_t>& shape) {
    return writeDataset(path, H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE, data, shape);
}

bool Hdf5File::writeIntegers(const std::string& path, const std::vector<std::int64_t>& data,
                             IntegerType type) {
    std::vector<std::uint64_t> shape{data.size()};
    if (type == IntegerType::uint8) {
        std::vector<std::uint8_t> bytes(data.begin(), data.end());
        return writeDataset(path, H5T_STD_U8LE, H5T_NATIVE_UINT8, bytes.data(), shape);
    }
    return writeDataset(path, H5T_STD_I64LE, H5T_NATIVE_INT64, data.data(), shape);
}

bool Hdf5File::writeStringAttribute(const std::string& objectPath, const std::string& name,
                                    const std::string& value) {
    Hdf5DatatypeHandle type(H5Tcopy(H5T_C_S1));
    H5Tset_size(type.get(), std::max<std::size_t>(1, value.size()));
    Hdf5DataspaceHandle space(H5Screate(H5S_SCALAR));
    Hdf5AttributeHandle attribute(H5Acreate_by_name(file_.get(), objectPath.c_str(), name.c_str(), type.get(),
                                                    space.get(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
    if (!attribute)
        return false;
    std::string padded = value.empty() ? std::string(1, '\0') : value;
    return H5Awrite(attribute.get(), type.get(), padded.data()) >= 0;
}

bool Hdf5File::writeIntegerAttribute(const std::string& objectPath, const std::string& name,
                                     std::int64_t value) {
    Hdf5DataspaceHandle space(H5Screate(H5S_SCALAR));
    Hdf5AttributeHandle attribute(H5Acreate_by_name(file_.get(), objectPath.c_str(), name.c_str(),
                                                    H5T_STD_I64LE, space.get(), H5P_DEFAULT, H5P_DEFAULT,
                                                    H5P_DEFAULT));
    if (!attribute)
        return false;
    return H5Awrite(attribute.get(), H5T_NATIVE_INT64, &value) >= 0;
}

bool Hdf5File::writeAttribute(const std::string& objectPath, const std::string& name, hid_t fileType,
                              hid_t space, hid_t memoryType, const void* data) {
    Hdf5AttributeHandle attribute(H5Acreate_by_name(file_.get(), objectPath.c_str(), name.c_str(), fileType,
                                                    space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
    if (!attribute)
        return false;
    return !data || H5Awrite(attribute.get(), memoryType, data) >= 0;
}

bool Hdf5File::writeStringAttribute(const std::string& objectPath, const std::string& name,
                                    const std::string& value, CharacterSet characterSet) {
    Hdf5DatatypeHandle type(H5Tcopy(H5T_C_S1));
    H5Tset_size(type.get(), std::max<std::size_t>(1, value.size()));
    H5Tset_cset(type.get(), characterSet == CharacterSet::utf8 ? H5T_CSET_UTF8 : H5T_CSET_ASCII);
    Hdf5DataspaceHandle space(H5Screate(H5S_SCALAR));
    std::string padded = value.empty() ? std::string(1, '\0') : value;
    return writeAttribute(objectPath, name, type.get(), space.get(), type.get(), padded.data());
}

bool Hdf5File::writeEmptyStringAttribute(const std::string& objectPath, const std::string& name,
                                         CharacterSet characterSet) {
    Hdf5DatatypeHandle type(H5Tcopy(H5T_C_S1));
    H5Tset_size(type.get(), 1);
    H5Tset_cset(type.get(), characterSet == CharacterSet::utf8 ? H5T_CSET_UTF8 : H5T_CSET_ASCII);
    Hdf5DataspaceHandle space(H5Screate(H5S_NULL));
    return writeAttribute(objectPath, name, type.get(), space.get(), type.get(), nullptr);
}

bool Hdf5File::writeBooleanAttribute(const std::string& objectPath, const std::string& name, bool value) {
    Hdf5DataspaceHandle space(H5Screate(H5S_SCALAR));
    std::uint8_t byte = value ? 1 : 0;
    return writeAttribute(objectPath, name, H5T_STD_B8LE, space.get(), H5T_NATIVE_B8, &byte);
}

bool Hdf5File::createDoubles(const std::string& path, const std::vector<std::uint64_t>& shape) {
    std::vector<hsize_t> dims(shape.begin(), shape.end());
    Hdf5DataspaceHandle space(H5Screate_simple(static_cast<int>(dims.size()), dims.data(), nullptr));
    if (!space)
        return false;
    Hdf5DatasetHandle dataset(H5Dcreate2(file_.get(), path.c_str(), H5T_IEEE_F64LE, space.get(), H5P_DEFAULT,
                                         H5P_DEFAULT, H5P_DEFAULT));
    return dataset.valid();
}

namespace {

// Selects whole rows of a rank-1 or rank-2 dataset: the file's hyperslab and a memory space of
// the same shape.
struct RowSelection {
    Hdf5DataspaceHandle fileSpace;
    Hdf5DataspaceHandle memorySpace;
};

std::optional<RowSelection> selectRows(hid_t dataset, std::uint64_t firstRow, std::uint64_t rowCount) {
    auto dims = shapeOf(dataset);
    if (!dims || dims->empty() || dims->size() > 2 || firstRow > (*dims)[0] ||
        rowCount > (*dims)[0] - firstRow || rowCount == 0)
        return std::nullopt;
    std::vector<hsize_t> start(dims->size(), 0), count(*dims);
    start[0] = firstRow;
    count[0] = rowCount;
    RowSelection selection{
        Hdf5DataspaceHandle(H5Dget_space(dataset)),
        Hdf5DataspaceHandle(H5Screate_simple(static_cast<int>(count.size()), count.data(), nullptr))};
    if (!selection.fileSpace || !selection.memorySpace ||
        H5Sselect_hyperslab(selection.fileSpace.get(), H5S_SELECT_SET, start.data(), nullptr, count.data(),
                            nullptr) < 0)
        return std::nullopt;
    return selection;
}

} // namespace

bool Hdf5File::writeDoubleRows(const std::string& path, std::uint64_t firstRow, std::uint64_t rowCount,
                               const double* data) {
    if (rowCount == 0)
        return true;
    Hdf5DatasetHandle dataset = openDataset(path);
    auto selection = dataset ? selectRows(dataset.get(), firstRow, rowCount) : std::nullopt;
    return selection && H5Dwrite(dataset.get(), H5T_NATIVE_DOUBLE, selection->memorySpace.get(),
                                 selection->fileSpace.get(), H5P_DEFAULT, data) >= 0;
}

bool Hdf5File::readDoubleRows(const std::string& path, std::uint64_t firstRow, std::uint64_t rowCount,
                              double* data) const {
    if (rowCount == 0)
        return true;
    Hdf5DatasetHandle dataset = openDataset(path);
    if (!dataset)
        return false;
    Hdf5DatatypeHandle fileType(H5Dget_type(dataset.get()));
    ElementKind kind = fileType ? kindOf(fileType.get()) : ElementKind::other;
    if (!readableAsDoubles(kind))
        return false;
    auto selection = selectRows(dataset.get(), firstRow, rowCount);
    bool booleans = kind == ElementKind::boolean;
    if (!selection ||
        H5Dread(dataset.get(), booleans ? H5T_NATIVE_B8 : H5T_NATIVE_DOUBLE, selection->memorySpace.get(),
                selection->fileSpace.get(), H5P_DEFAULT, data) < 0)
        return false;
    if (booleans)
        widenBooleans(data, static_cast<std::size_t>(H5Sget_select_npoints(selection->memorySpace.get())));
    return true;
}

std::optional<std::vector<std::uint64_t>> Hdf5File::shape(const std::string& path) const {
    Hdf5DatasetHandle dataset = openDataset(path);
    if (!dataset)
        return std::nullopt;
    auto dims = shapeOf(dataset.get());
    if (!dims)
        return std::nullopt;
    return std::vector<std::uint64_t>(dims->begin(), dims->end());
}

bool Hdf5File::flush() {
    return H5Fflush(file_.get(), H5F_SCOPE_GLOBAL) >= 0;
}
