#pragma once

#include "media/AudioDecoder.h"

#include <QString>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

// The sound of an exported film, piece by piece: for each picture, the sound of the video that the
// picture shows from that moment of the file, or silence where no video sounds. Reading on from
// where the piece before ended never seeks, so that a continuous stretch of a video sounds as it
// was recorded, without clicks at the frame boundaries.
class ReplaySoundTrack {
public:
    struct Source {
        QString path;
        // Where the piece starts in the file's time.
        double fileSeconds = 0.0;
    };
    static constexpr int sampleRate = 48000;
    static constexpr int channels = 2;

    // Appends `frames` sample frames (interleaved float, `channels` per frame) to `samples`.
    void append(const std::optional<Source>& source, std::int64_t frames, std::vector<float>& samples);
    // Files whose sound could not be read, each once, with the reason.
    const std::vector<QString>& problems() const { return problems_; }

private:
    QString path_;
    std::unique_ptr<AudioDecoder> decoder_;
    std::vector<QString> failedPaths_;
    std::vector<QString> problems_;
};
