#pragma once

#include <QString>
#include <map>
#include <optional>
#include <string>

// The EXIF and IPTC properties of a photo, under the dictionary and key names of the photo rules:
// "{IPTC}" DateCreated and TimeCreated in their text forms ("20190512", "142311+0200"), and "{Exif}"
// DateTime, SubsecTime, DateTimeOriginal, SubsecTimeOriginal, DateTimeDigitized, SubsecTimeDigitized.
class PhotoMetadata {
public:
    // None when the file is not an image that can be opened.
    static std::optional<PhotoMetadata> read(const QString& path);

    std::optional<std::string> value(const std::string& dictionary, const std::string& key) const;

private:
    std::map<std::string, std::string> values_; // "{Exif}DateTime" → text
};
