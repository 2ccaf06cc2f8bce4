#pragma once

#include <hdf5.h>
#include <utility>

// Owns one HDF5 identifier and releases it with the close function of its kind.
template <herr_t (*Close)(hid_t)> class Hdf5Handle {
public:
    Hdf5Handle() = default;
    explicit Hdf5Handle(hid_t id) : id_(id) {}
    ~Hdf5Handle() { reset(); }
    Hdf5Handle(const Hdf5Handle&) = delete;
    Hdf5Handle& operator=(const Hdf5Handle&) = delete;
    Hdf5Handle(Hdf5Handle&& other) noexcept : id_(std::exchange(other.id_, H5I_INVALID_HID)) {}
    Hdf5Handle& operator=(Hdf5Handle&& other) noexcept {
        if (this != &other) {
            reset();
            id_ = std::exchange(other.id_, H5I_INVALID_HID);
        }
        return *this;
    }

    bool valid() const { return id_ >= 0; }
    explicit operator bool() const { return valid(); }
    hid_t get() const { return id_; }

    void reset() {
        if (id_ >= 0)
            Close(id_);
        id_ = H5I_INVALID_HID;
    }

private:
    hid_t id_ = H5I_INVALID_HID;
};

using Hdf5FileHandle = Hdf5Handle<H5Fclose>;
using Hdf5GroupHandle = Hdf5Handle<H5Gclose>;
using Hdf5DatasetHandle = Hdf5Handle<H5Dclose>;
using Hdf5DataspaceHandle = Hdf5Handle<H5Sclose>;
using Hdf5DatatypeHandle = Hdf5Handle<H5Tclose>;
using Hdf5PropertyListHandle = Hdf5Handle<H5Pclose>;
using Hdf5AttributeHandle = Hdf5Handle<H5Aclose>;
