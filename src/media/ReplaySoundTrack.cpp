#include "media/ReplaySoundTrack.h"

#include <algorithm>
#include <cmath>

void ReplaySoundTrack::append(const std::optional<Source>& source, std::int64_t frames,
                              std::vector<float>& samples) {
    const std::size_t start = samples.size();
    samples.resize(start + std::size_t(frames) * channels, 0.0f);
    if (!source || frames <= 0)
        return;
    if (source->path != path_) {
        path_ = source->path;
        decoder_.reset();
        if (std::find(failedPaths_.begin(), failedPaths_.end(), path_) != failedPaths_.end())
            return;
        AudioDecoder::Format format;
        format.sampleRate = sampleRate;
        format.channels = channels;
        format.sampleType = AudioDecoder::SampleType::float32;
        QString failure;
        decoder_ = AudioDecoder::open(path_, format, &failure);
        if (!decoder_) {
            // A video without sound is common (drones, muted cameras): it plays silent.
            failedPaths_.push_back(path_);
            if (!failure.isEmpty())
                problems_.push_back(path_ + QStringLiteral(": ") + failure);
            return;
        }
    }
    if (!decoder_)
        return;
    // Within a sample of where the last piece ended, the stretch is continuous: read on.
    const auto wanted = std::int64_t(std::llround(source->fileSeconds * sampleRate));
    if (std::abs(decoder_->position() - wanted) > 1 && !decoder_->seek(source->fileSeconds)) {
        decoder_.reset();
        return;
    }
    decoder_->read(samples.data() + start, frames);
}
