#include "media/VideoProxyPolicy.h"

#include "core/UserDefaults.h"

#include <algorithm>
#include <string_view>

namespace {

// Millions of pixels one core of an ordinary laptop decodes per second with libavcodec, at camera
// bit rates. HEVC comes from 4K60 decoding at about 20 frames per second on two cores; the others
// are in proportion to it.
double megapixelsPerCore(std::string_view codec) {
    struct Rate {
        std::string_view codec;
        double megapixels;
    };
    static constexpr Rate rates[] = {
        {"h264", 140},  {"hevc", 85},   {"vp9", 120},    {"av1", 60},    {"mpeg2video", 250},
        {"mpeg4", 250}, {"mjpeg", 120}, {"prores", 120}, {"dnxhd", 150},
    };
    for (const Rate& rate : rates)
        if (rate.codec == codec)
            return rate.megapixels;
    // Unknown codecs are taken to be as costly as HEVC.
    return 85;
}

} // namespace

VideoProxyPolicy::VideoProxyPolicy(int cores, Choice choice) : cores_(std::max(1, cores)), choice_(choice) {}

VideoProxyPolicy VideoProxyPolicy::fromDefaults(const UserDefaults& defaults, int cores) {
    const QString value = defaults.stringValue(defaultsKey).value_or(QString()).trimmed().toLower();
    if (value == QLatin1String("always"))
        return VideoProxyPolicy(cores, Choice::always);
    if (value == QLatin1String("never"))
        return VideoProxyPolicy(cores, Choice::never);
    return VideoProxyPolicy(cores, Choice::automatic);
}

double VideoProxyPolicy::estimatedDecodeRate(const VideoStreamInfo& info) const {
    const double pixels = static_cast<double>(info.width) * info.height;
    if (pixels <= 0)
        return 0.0;
    return megapixelsPerCore(info.codecName) * 1e6 * cores_ / pixels;
}

bool VideoProxyPolicy::needsProxy(const VideoStreamInfo& info, std::optional<double> measuredRate) const {
    switch (choice_) {
    case Choice::always:
        return true;
    case Choice::never:
        return false;
    case Choice::automatic:
        break;
    }
    if (info.width <= 0 || info.height <= 0 || info.frameRate <= 0)
        return false;
    if (!measuredRate && info.hardwareDecoding)
        return false;
    const double rate = measuredRate.value_or(estimatedDecodeRate(info));
    return rate < info.frameRate * headroom;
}
