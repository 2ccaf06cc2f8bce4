#include "media/MediaFixtures.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <cmath>
#include <ctime>
#include <gtest/gtest.h>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>

namespace MediaFixtures {

std::string u16(std::uint16_t value) {
    return {static_cast<char>(value >> 8), static_cast<char>(value)};
}

std::string u32(std::uint32_t value) {
    return u16(static_cast<std::uint16_t>(value >> 16)) + u16(static_cast<std::uint16_t>(value));
}

std::string u64(std::uint64_t value) {
    return u32(static_cast<std::uint32_t>(value >> 32)) + u32(static_cast<std::uint32_t>(value));
}

std::string box(const std::string& type, const std::string& payload) {
    return u32(static_cast<std::uint32_t>(8 + payload.size())) + type + payload;
}

std::string fullBox(const std::string& type, const std::string& payload, std::uint8_t version) {
    return box(type, std::string(1, static_cast<char>(version)) + std::string(3, '\0') + payload);
}

std::string ftyp(const std::string& majorBrand) {
    return box("ftyp", majorBrand + u32(0) + majorBrand);
}

std::uint64_t quickTimeSeconds(double unixSeconds) {
    return static_cast<std::uint64_t>(unixSeconds + 2082844800.0);
}

std::string mvhd(std::uint64_t creation, std::uint32_t timescale, std::uint32_t duration) {
    return fullBox("mvhd", u32(static_cast<std::uint32_t>(creation)) +
                               u32(static_cast<std::uint32_t>(creation)) + u32(timescale) + u32(duration) +
                               std::string(80, '\0'));
}

std::string quickTimeText(const std::string& text) {
    return u16(static_cast<std::uint16_t>(text.size())) + u16(0x55C4) + text;
}

std::string keyedMeta(const std::vector<std::pair<std::string, std::string>>& items) {
    std::string keys = u32(0) + u32(static_cast<std::uint32_t>(items.size()));
    std::string list;
    std::uint32_t index = 1;
    for (const auto& [key, value] : items) {
        keys += u32(static_cast<std::uint32_t>(8 + key.size())) + "mdta" + key;
        list += box(u32(index++), box("data", u32(1) + u32(0) + value));
    }
    return box("meta", fullBox("hdlr", u32(0) + "mdta" + std::string(12, '\0')) + box("keys", keys) +
                           box("ilst", list));
}

std::string movie(const std::string& majorBrand, const std::string& moovChildren) {
    std::string bytes = majorBrand.empty() ? std::string() : ftyp(majorBrand);
    return bytes + box("mdat", std::string(64, '\x55')) + box("moov", moovChildren);
}

std::string gpmfEntry(const std::string& key, char type, std::uint8_t size, std::uint16_t repeat,
                      const std::string& data) {
    std::string padded = data + std::string((4 - data.size() % 4) % 4, '\0');
    return key + type + static_cast<char>(size) + u16(repeat) + padded;
}

std::vector<std::uint8_t> gpsPayload(const std::vector<GpsFix>& fixes, double utc, std::uint32_t fix,
                                     std::uint16_t precision) {
    char stamp[32];
    const auto seconds = static_cast<std::time_t>(utc);
    std::strftime(stamp, sizeof stamp, "%y%m%d%H%M%S.000", std::gmtime(&seconds));
    std::string points;
    for (const GpsFix& point : fixes) {
        points += u32(static_cast<std::uint32_t>(std::lround(point.latitude * 1e7)));
        points += u32(static_cast<std::uint32_t>(std::lround(point.longitude * 1e7)));
        points += u32(0) + u32(static_cast<std::uint32_t>(std::lround(point.speed * 1000))) + u32(0);
    }
    const std::string stream =
        gpmfEntry("GPSF", 'L', 4, 1, u32(fix)) + gpmfEntry("GPSU", 'U', 16, 1, stamp) +
        gpmfEntry("GPSP", 'S', 2, 1, u16(precision)) +
        gpmfEntry("SCAL", 'l', 4, 5, u32(10000000) + u32(10000000) + u32(1000) + u32(1000) + u32(100)) +
        gpmfEntry("GPS5", 'l', 20, static_cast<std::uint16_t>(fixes.size()), points);
    const std::string bytes =
        gpmfEntry("DEVC", '\0', 4, static_cast<std::uint16_t>((stream.size() + 8) / 4),
                  gpmfEntry("STRM", '\0', 4, static_cast<std::uint16_t>(stream.size() / 4), stream));
    return {bytes.begin(), bytes.end()};
}

std::string gpmdMovie(const std::vector<std::vector<std::uint8_t>>& payloads, double created) {
    std::string data, sizes;
    for (const auto& bytes : payloads) {
        data.append(bytes.begin(), bytes.end());
        sizes += u32(static_cast<std::uint32_t>(bytes.size()));
    }
    const auto count = static_cast<std::uint32_t>(payloads.size());
    const std::string head = ftyp("mp41");
    const std::string sampleEntry = box("gpmd", std::string(6, '\0') + u16(1) + u32(0));
    const std::string stbl =
        box("stbl", fullBox("stsd", u32(1) + sampleEntry) + fullBox("stts", u32(1) + u32(count) + u32(1000)) +
                        fullBox("stsc", u32(1) + u32(1) + u32(count) + u32(1)) +
                        fullBox("stsz", u32(0) + u32(count) + sizes) +
                        fullBox("stco", u32(1) + u32(static_cast<std::uint32_t>(head.size() + 8))));
    const std::string minf = box(
        "minf", fullBox("nmhd", "") + box("dinf", fullBox("dref", u32(1) + fullBox("url ", "", 0))) + stbl);
    const std::string mdia =
        box("mdia", fullBox("mdhd", u32(0) + u32(0) + u32(1000) + u32(count * 1000) + u16(0x55C4) + u16(0)) +
                        fullBox("hdlr", u32(0) + "meta" + std::string(12, '\0') + "GoPro MET" + '\0') + minf);
    const std::string tkhd =
        fullBox("tkhd", u32(0) + u32(0) + u32(1) + u32(0) + u32(count * 1000) + std::string(8, '\0') +
                            std::string(8, '\0') + u32(0x10000) + u32(0) + u32(0) + u32(0) + u32(0x10000) +
                            u32(0) + u32(0) + u32(0) + u32(0x40000000) + u32(0) + u32(0));
    const std::string moov =
        box("moov", mvhd(quickTimeSeconds(created), 1000, count * 1000) + box("trak", tkhd + mdia));
    return head + box("mdat", data) + moov;
}

void writeFile(const QString& path, const std::string& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    file.write(bytes.data(), static_cast<qint64>(bytes.size()));
}

const Generated& generated() {
    static QTemporaryDir directory;
    static const Generated files = [] {
        Generated out{directory.filePath("plain.mp4"), directory.filePath("iphone.mov"),
                      directory.filePath("clip.mkv"), directory.filePath("base.jpg"),
                      directory.filePath("silence.wav")};
        // One ffmpeg run writes every output.
        const QStringList video{"-map",  "0:v",       "-c:v",
                                "mpeg4", "-metadata", "creation_time=2023-06-01T12:00:00Z"};
        QStringList arguments{"-v",
                              "error",
                              "-y",
                              "-f",
                              "lavfi",
                              "-i",
                              "testsrc=duration=1:size=64x64:rate=10",
                              "-f",
                              "lavfi",
                              "-i",
                              "anullsrc=r=8000:cl=mono"};
        arguments << video << out.plainMp4;
        arguments << video << "-metadata"
                  << "com.apple.quicktime.make=Apple"
                  << "-metadata"
                  << "com.apple.quicktime.creationdate=2023-06-01T14:00:00+0200"
                  << "-movflags"
                  << "use_metadata_tags" << out.iphoneMov;
        arguments << video << out.mkv;
        arguments << "-map"
                  << "0:v"
                  << "-frames:v"
                  << "1" << out.jpeg;
        arguments << "-map"
                  << "1:a"
                  << "-t"
                  << "1" << out.wav;
        QProcess ffmpeg;
        ffmpeg.start("ffmpeg", arguments);
        ffmpeg.waitForFinished(120000);
        if (ffmpeg.exitCode() != 0)
            ADD_FAILURE() << "ffmpeg failed: " << ffmpeg.readAllStandardError().toStdString();
        return out;
    }();
    return files;
}

void writePhoto(const QString& path, const std::vector<std::pair<std::string, std::string>>& tags) {
    QFile::remove(path);
    ASSERT_TRUE(QFile::copy(generated().jpeg, path));
    auto image = Exiv2::ImageFactory::open(QFile::encodeName(path).toStdString());
    image->readMetadata();
    for (const auto& [key, value] : tags) {
        if (key.rfind("Iptc.", 0) == 0) {
            Exiv2::StringValue raw(value);
            image->iptcData().add(Exiv2::IptcKey(key), &raw);
        } else {
            image->exifData()[key] = value;
        }
    }
    image->writeMetadata();
}

} // namespace MediaFixtures

#pragma GCC diagnostic pop
