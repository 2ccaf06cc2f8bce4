#include "media/GpmdTrack.h"

#include "media/AvHandle.h"

std::optional<std::vector<GpmdTrack::Sample>> GpmdTrack::read(const std::string& path) {
    silenceFfmpegLogging();
    AVFormatContext* raw = nullptr;
    if (avformat_open_input(&raw, path.c_str(), nullptr, nullptr) < 0)
        return std::nullopt;
    AvFormatContextHandle input(raw);
    // QuickTime and MP4 keep their sample tables in the header, so no stream probing is needed.
    const AVStream* track = nullptr;
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        AVStream* stream = input->streams[i];
        if (!track && stream->codecpar->codec_tag == MKTAG('g', 'p', 'm', 'd'))
            track = stream;
        else
            stream->discard = AVDISCARD_ALL;
    }
    if (!track)
        return std::nullopt;
    std::vector<Sample> samples;
    AvPacketHandle packet(av_packet_alloc());
    const double unit = av_q2d(track->time_base);
    while (av_read_frame(input.get(), packet.get()) >= 0) {
        if (packet->stream_index == track->index && packet->size > 0) {
            Sample sample;
            const std::int64_t start = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
            sample.time = start == AV_NOPTS_VALUE ? 0.0 : start * unit;
            sample.duration = packet->duration > 0 ? packet->duration * unit : 0.0;
            sample.bytes.assign(packet->data, packet->data + packet->size);
            samples.push_back(std::move(sample));
        }
        av_packet_unref(packet.get());
    }
    // A payload's points spread over its sample; the last sample of some files has no duration.
    for (std::size_t i = 0; i < samples.size(); ++i)
        if (samples[i].duration <= 0.0)
            samples[i].duration = i + 1 < samples.size()
                                      ? samples[i + 1].time - samples[i].time
                                      : (i > 0 ? samples[i].time - samples[i - 1].time : 1.0);
    return samples;
}
