#pragma once

#include "media/VideoStreamInfo.h"

#include <QString>
#include <optional>

class UserDefaults;

// Whether a video plays from a proxy on this machine: when it cannot be decoded in real time with
// room to spare for drawing the frames and everything else on screen.
//
// The decoding rate is measured when playback has measured it, else estimated from the pixels one
// core decodes per second for the video's codec (software decoding with frame threads scales about
// linearly with the cores). Hardware decoding keeps up with any video it accepts. The user may
// choose always or never instead, with the "videoProxies" default ("automatic", "always", "never").
class VideoProxyPolicy {
public:
    enum class Choice { automatic, always, never };

    static inline const QString defaultsKey = QStringLiteral("videoProxies");
    // Decoding must reach this many times the frame rate to play without a proxy.
    static constexpr double headroom = 1.25;

    explicit VideoProxyPolicy(int cores, Choice choice = Choice::automatic);
    // The user's choice from `defaults`; anything but "always" and "never" is automatic.
    static VideoProxyPolicy fromDefaults(const UserDefaults& defaults, int cores);

    Choice choice() const { return choice_; }

    // Frames per second decoded in software on this machine, estimated; 0 for a video without a size.
    double estimatedDecodeRate(const VideoStreamInfo& info) const;
    // `measuredRate`: frames per second decoding reached while playing this video, when known.
    bool needsProxy(const VideoStreamInfo& info, std::optional<double> measuredRate = {}) const;

private:
    int cores_;
    Choice choice_;
};
