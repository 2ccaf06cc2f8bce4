#include "media/CameraTrack.h"

#include "media/DjiSubtitles.h"
#include "media/GpmdTrack.h"
#include "media/GpmfGps.h"

#include <QFile>
#include <algorithm>

std::optional<CameraTrack> CameraTrack::read(const QString& videoPath, bool lookInFile) {
    return read(videoPath, DjiSubtitles::sidecarOf(videoPath), lookInFile);
}

std::optional<CameraTrack> CameraTrack::read(const QString& videoPath, const std::optional<QString>& sidecar,
                                             bool lookInFile) {
    if (sidecar)
        if (auto track = DjiSubtitles::read(*sidecar); track && !track->points.empty())
            return track;
    if (!lookInFile)
        return std::nullopt;
    auto samples = GpmdTrack::read(QFile::encodeName(videoPath).toStdString());
    if (!samples)
        return std::nullopt;
    CameraTrack track;
    track.source = "gpmf-gps";
    for (const GpmdTrack::Sample& sample : *samples)
        GpmfGps::read(sample.bytes, sample.time, sample.duration, track.points);
    if (track.points.empty())
        return std::nullopt;
    return track;
}

std::optional<Instant> CameraTrack::clipStart() const {
    std::vector<double> estimates;
    for (const CameraTrackPoint& point : points)
        if (point.locked && point.time)
            estimates.push_back(point.time->secondsSinceReference() - point.fileTime);
    if (estimates.empty())
        return std::nullopt;
    std::sort(estimates.begin(), estimates.end());
    // The widest run of estimates within one second of each other.
    constexpr double window = 1.0;
    std::size_t bestFirst = 0, bestCount = 0;
    for (std::size_t first = 0, last = 0; first < estimates.size(); ++first) {
        last = std::max(last, first);
        while (last + 1 < estimates.size() && estimates[last + 1] - estimates[first] <= window)
            ++last;
        if (last - first + 1 > bestCount) {
            bestCount = last - first + 1;
            bestFirst = first;
        }
    }
    if (2 * bestCount <= estimates.size() && estimates.size() > 1)
        return std::nullopt;
    return Instant(estimates[bestFirst + bestCount / 2]);
}

std::vector<CameraTrackPoint> CameraTrack::lockedPoints() const {
    std::vector<CameraTrackPoint> out;
    std::copy_if(points.begin(), points.end(), std::back_inserter(out),
                 [](const CameraTrackPoint& point) { return point.locked; });
    return out;
}
