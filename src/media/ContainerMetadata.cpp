#include "media/ContainerMetadata.h"

#include "media/AvHandle.h"
#include "media/ByteSource.h"
#include "media/Iso8601.h"
#include "media/IsoBoxReader.h"

#include <memory>
#include <mutex>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

namespace {

// Containers the box reader does not know. libavformat finds their duration and the creation time
// that their writers store as a tag.
ContainerMetadata readWithLibavformat(const std::string& path) {
    // The probe-media verb prints the detection lines on stderr; FFmpeg's own chatter would bury them.
    silenceFfmpegLogging();

    ContainerMetadata metadata;
    AVFormatContext* raw = nullptr;
    if (avformat_open_input(&raw, path.c_str(), nullptr, nullptr) < 0)
        return metadata;
    AvFormatContextHandle context(raw);
    // Matroska and AVI carry the duration in their headers; transport streams need a look at packets.
    if (context->duration == AV_NOPTS_VALUE || context->duration <= 0)
        avformat_find_stream_info(context.get(), nullptr);
    if (context->duration != AV_NOPTS_VALUE && context->duration > 0)
        metadata.duration = static_cast<double>(context->duration) / AV_TIME_BASE;
    if (const AVDictionaryEntry* tag = av_dict_get(context->metadata, "creation_time", nullptr, 0))
        metadata.creationDate = parseIso8601WithZone(tag->value);
    return metadata;
}

} // namespace

ContainerMetadata ContainerMetadata::read(const std::string& path) {
    {
        auto source = FileByteSource::open(path);
        if (!source)
            return {};
        if (auto metadata = IsoBoxReader::read(*source))
            return std::move(*metadata);
    }
    return readWithLibavformat(path);
}

const MetadataItem* ContainerMetadata::firstItem(std::string_view identifier) const {
    for (const auto& item : items)
        if (item.identifier == identifier)
            return &item;
    return nullptr;
}

const MetadataItem* ContainerMetadata::firstStringItem(std::string_view identifier) const {
    for (const auto& item : items)
        if (item.identifier == identifier && item.stringValue)
            return &item;
    return nullptr;
}
