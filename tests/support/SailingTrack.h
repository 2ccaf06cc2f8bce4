#pragma once

#include "document/CameraSync.h"

#include <cmath>
#include <numbers>
#include <random>

// A boat beating to windward, tacking every minute or so, made for the sync's tests and benchmark:
// the same motion seen by a camera's GPS (dense, its own noise) and by the boat's log (another rate,
// other noise, and its clock off by a known number of seconds).
class SailingTrack {
public:
    explicit SailingTrack(unsigned seed, double from = -1500.0, double to = 2100.0) : from_(from) {
        std::mt19937 random(seed);
        std::uniform_real_distribution<double> legLength(45.0, 95.0), gust(0.0, 2 * std::numbers::pi);
        const double phase = gust(random), phase2 = gust(random);
        double heading = 45.0, nextTack = from + legLength(random), tackStart = -1e9;
        double x = 0.0, y = 0.0;
        for (double t = from; t <= to; t += step) {
            if (t >= nextTack) {
                heading = -heading;
                tackStart = t;
                nextTack = t + legLength(random);
            }
            // Speed drops through a tack and recovers over ten seconds; gusts come and go.
            const double sinceTack = t - tackStart;
            const double tackLoss =
                sinceTack < 10.0 ? 1.6 * std::sin(std::numbers::pi * sinceTack / 10.0) : 0.0;
            const double speed =
                3.2 + 0.5 * std::sin(t / 37.0 + phase) + 0.3 * std::sin(t / 11.0 + phase2) - tackLoss;
            const double turning =
                sinceTack < 6.0 ? heading * std::cos(std::numbers::pi * sinceTack / 6.0) : heading;
            const double radians = turning * std::numbers::pi / 180.0;
            x += speed * std::sin(radians) * step;
            y += speed * std::cos(radians) * step;
            xs_.push_back(x), ys_.push_back(y), speeds_.push_back(speed);
        }
    }

    // Samples from `begin` to `end` of the motion every `interval` seconds, at event time `t + shift`,
    // with Gaussian noise on positions (metres) and speeds (metres per second).
    CameraSync::Series sample(double begin, double end, double interval, double shift, double positionNoise,
                              double speedNoise, unsigned seed) const {
        std::mt19937 random(seed);
        std::normal_distribution<double> normal(0.0, 1.0);
        CameraSync::Series series;
        for (double t = begin; t <= end; t += interval) {
            const auto i = static_cast<std::size_t>(std::lround((t - from_) / step));
            if (i >= xs_.size())
                break;
            series.times.push_back(t + shift);
            series.speeds.push_back(std::max(0.0, speeds_[i] + speedNoise * normal(random)));
            const double x = xs_[i] + positionNoise * normal(random),
                         y = ys_[i] + positionNoise * normal(random);
            series.latitudes.push_back(latitude0 + y / metresPerDegree);
            series.longitudes.push_back(
                longitude0 + x / (metresPerDegree * std::cos(latitude0 * std::numbers::pi / 180.0)));
        }
        return series;
    }

    static constexpr double step = 0.05;
    static constexpr double latitude0 = 39.45, longitude0 = -0.30;
    static constexpr double metresPerDegree = 6372797.6 * std::numbers::pi / 180.0;

private:
    double from_;
    std::vector<double> xs_, ys_, speeds_;
};
