#pragma once

#include <QString>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// Media files for the tests, made by the tests: QuickTime/MP4 boxes built byte by byte for the camera
// rules that no tool writes, and videos and a JPEG from the ffmpeg program, made once per test binary.
namespace MediaFixtures {

std::string u16(std::uint16_t value);
std::string u32(std::uint32_t value);
std::string u64(std::uint64_t value);
std::string box(const std::string& type, const std::string& payload);
// Version and flags, then the payload.
std::string fullBox(const std::string& type, const std::string& payload, std::uint8_t version = 0);
std::string ftyp(const std::string& majorBrand);
// Seconds since 1904 of a Unix time, as the movie header stores it.
std::uint64_t quickTimeSeconds(double unixSeconds);
std::string mvhd(std::uint64_t creation, std::uint32_t timescale, std::uint32_t duration);
// A QuickTime text entry: length, language, text.
std::string quickTimeText(const std::string& text);
// A keyed meta box (hdlr "mdta", keys, ilst) with UTF-8 values.
std::string keyedMeta(const std::vector<std::pair<std::string, std::string>>& items);
// ftyp (when a brand is given), a small mdat, then moov holding `moovChildren`.
std::string movie(const std::string& majorBrand, const std::string& moovChildren);

// An MP4 holding only a metadata track (handler "GoPro MET", sample entry "gpmd") with one sample
// per payload, one second each, and a movie header dated `created` (Unix seconds: the camera's clock).
std::string gpmdMovie(const std::vector<std::vector<std::uint8_t>>& payloads, double created);
// One GPMF entry: key, type, sample size, repeat count (big-endian) and the data padded to 4 bytes.
std::string gpmfEntry(const std::string& key, char type, std::uint8_t size, std::uint16_t repeat,
                      const std::string& data);
struct GpsFix {
    double latitude;
    double longitude;
    double speed; // m/s
};
// One sample of a GoPro's GPS as it writes it: DEVC > STRM with GPSF, GPSU (`utc`, to the second),
// GPSP, SCAL and one GPS5 point per fix.
std::vector<std::uint8_t> gpsPayload(const std::vector<GpsFix>& fixes, double utc, std::uint32_t fix = 3,
                                     std::uint16_t precision = 150);

void writeFile(const QString& path, const std::string& bytes);

// Made once per test binary by the ffmpeg program, in a folder that lives until the binary ends.
struct Generated {
    QString plainMp4;  // creation_time 2023-06-01T12:00:00Z, 1 s
    QString iphoneMov; // keyed make "Apple", creationdate 2023-06-01T14:00:00+0200, mvhd 12:00:00Z
    QString mkv;       // creation_time 2023-06-01T12:00:00Z, 1 s
    QString jpeg;      // a small plain JPEG without metadata
    QString wav;       // one second of silence
};
const Generated& generated();

// Copies the generated JPEG to `path` and sets the given EXIF ("Exif.…") and IPTC ("Iptc.…") values.
// An IPTC value is stored as the bytes given.
void writePhoto(const QString& path, const std::vector<std::pair<std::string, std::string>>& tags);

} // namespace MediaFixtures
