#include "media/PhotoMetadata.h"

#include "media/ByteSource.h"

#include <QFile>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

// exiv2 0.27 hands out std::auto_ptr.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>

namespace {

void prepareExiv2() {
    static std::once_flag once;
    std::call_once(once, [] {
        // Broken files are normal input here; exiv2's warnings would only bury the detection lines.
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
        Exiv2::XmpParser::initialize();
    });
}

std::string trimmed(std::string text) {
    while (!text.empty() && (text.back() == '\0' || text.back() == ' ' || text.back() == '\n'))
        text.pop_back();
    return text;
}

std::uint16_t be16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>(p[0] << 8 | p[1]);
}

// The length of the raw IPTC TimeCreated (2:60) of a JPEG, or 0. exiv2 reads "142311" and
// "142311+0000" alike, but only the second names a zone.
std::size_t rawJpegTimeCreatedLength(const QString& path) {
    auto source = FileByteSource::open(QFile::encodeName(path).toStdString());
    if (!source)
        return 0;
    std::uint8_t marker[4];
    if (!source->read(0, marker, 2) || marker[0] != 0xFF || marker[1] != 0xD8)
        return 0;
    std::uint64_t offset = 2;
    for (int segments = 0; segments < 256 && source->read(offset, marker, 4); ++segments) {
        if (marker[0] != 0xFF || marker[1] == 0xDA || marker[1] == 0xD9)
            return 0;
        std::size_t length = be16(marker + 2);
        if (length < 2)
            return 0;
        if (marker[1] == 0xED) { // APP13: Photoshop resources, one of which holds IPTC
            std::vector<std::uint8_t> data(length - 2);
            if (!source->read(offset + 4, data.data(), data.size()))
                return 0;
            static const char signature[] = "Photoshop 3.0";
            if (data.size() < sizeof signature || std::memcmp(data.data(), signature, sizeof signature) != 0)
                return 0;
            const Exiv2::byte* record = nullptr;
            std::uint32_t header = 0, size = 0;
            if (Exiv2::Photoshop::locateIptcIrb(data.data() + sizeof signature,
                                                static_cast<long>(data.size() - sizeof signature), &record,
                                                &header, &size) != 0)
                return 0;
            const std::uint8_t* iptc = record + header;
            const std::uint8_t* end = data.data() + data.size();
            if (size > static_cast<std::size_t>(end - iptc))
                size = static_cast<std::uint32_t>(end - iptc);
            for (std::size_t at = 0; at + 5 <= size;) {
                if (iptc[at] != 0x1C)
                    return 0;
                std::size_t datasetLength = be16(iptc + at + 3);
                if (datasetLength & 0x8000)
                    return 0; // extended datasets never hold a time
                if (iptc[at + 1] == 2 && iptc[at + 2] == 60)
                    return datasetLength;
                at += 5 + datasetLength;
            }
            return 0;
        }
        offset += 2 + length;
    }
    return 0;
}

std::string iptcText(const Exiv2::Iptcdatum& datum, const QString& path) {
    const Exiv2::Value& value = datum.value();
    char text[32];
    if (value.typeId() == Exiv2::date) {
        const auto& date = static_cast<const Exiv2::DateValue&>(value).getDate();
        std::snprintf(text, sizeof text, "%04d%02d%02d", date.year, date.month, date.day);
        return text;
    }
    if (value.typeId() == Exiv2::time) {
        const auto& time = static_cast<const Exiv2::TimeValue&>(value).getTime();
        if (time.tzHour == 0 && time.tzMinute == 0 && rawJpegTimeCreatedLength(path) == 6) {
            std::snprintf(text, sizeof text, "%02d%02d%02d", time.hour, time.minute, time.second);
            return text;
        }
        bool west = time.tzHour < 0 || time.tzMinute < 0;
        std::snprintf(text, sizeof text, "%02d%02d%02d%c%02d%02d", time.hour, time.minute, time.second,
                      west ? '-' : '+', std::abs(time.tzHour), std::abs(time.tzMinute));
        return text;
    }
    return trimmed(value.toString());
}

} // namespace

std::optional<PhotoMetadata> PhotoMetadata::read(const QString& path) {
    prepareExiv2();
    static const std::pair<const char*, const char*> exifTags[] = {
        {"Exif.Image.DateTime", "DateTime"},
        {"Exif.Photo.SubSecTime", "SubsecTime"},
        {"Exif.Photo.DateTimeOriginal", "DateTimeOriginal"},
        {"Exif.Photo.SubSecTimeOriginal", "SubsecTimeOriginal"},
        {"Exif.Photo.DateTimeDigitized", "DateTimeDigitized"},
        {"Exif.Photo.SubSecTimeDigitized", "SubsecTimeDigitized"},
    };
    static const std::pair<const char*, const char*> iptcTags[] = {
        {"Iptc.Application2.DateCreated", "DateCreated"},
        {"Iptc.Application2.TimeCreated", "TimeCreated"},
    };
    try {
        auto image = Exiv2::ImageFactory::open(QFile::encodeName(path).toStdString());
        if (!image.get())
            return std::nullopt;
        image->readMetadata();
        PhotoMetadata metadata;
        const Exiv2::ExifData& exif = image->exifData();
        for (const auto& [tag, key] : exifTags) {
            auto found = exif.findKey(Exiv2::ExifKey(tag));
            if (found != exif.end() && found->count() > 0)
                metadata.values_[std::string("{Exif}") + key] = trimmed(found->toString());
        }
        const Exiv2::IptcData& iptc = image->iptcData();
        for (const auto& [tag, key] : iptcTags) {
            auto found = iptc.findKey(Exiv2::IptcKey(tag));
            if (found != iptc.end())
                metadata.values_[std::string("{IPTC}") + key] = iptcText(*found, path);
        }
        return metadata;
    } catch (...) {
        // Not an image, or a broken one: the next time source is tried.
        return std::nullopt;
    }
}

std::optional<std::string> PhotoMetadata::value(const std::string& dictionary, const std::string& key) const {
    auto found = values_.find(dictionary + key);
    if (found == values_.end())
        return std::nullopt;
    return found->second;
}

#pragma GCC diagnostic pop
