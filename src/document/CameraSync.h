#pragma once

#include <optional>
#include <string>
#include <vector>

// Finds the time shift that lines a camera's own GPS up with a boat's logged data: the camera's speed
// over ground against the boat's SOG, and, when both move, the camera's track against the boat's.
// Plain numbers in, plain numbers out; the document side lives in AssetSync.
class CameraSync {
public:
    // Samples on one time axis (event seconds), ascending; speeds in metres per second; NaN where a
    // value is missing. Positions may be left empty.
    struct Series {
        std::vector<double> times;
        std::vector<double> speeds;
        std::vector<double> latitudes;
        std::vector<double> longitudes;
    };

    struct Result {
        // Seconds to add to the camera's times (the change of the asset's offset), to 0.01 s.
        double offset = 0.0;
        // Pearson correlation of the two speeds at `offset`.
        double speedCorrelation = 0.0;
        // RMS distance between the camera's and the boat's positions at `offset`, metres; none when
        // the positions were not used (one side does not move, or has none).
        std::optional<double> positionResidual;
        // RMS speed difference at `offset`, metres per second.
        double speedResidual = 0.0;
        // How much worse the best match at least `ambiguityWindow` away is than the best one
        // (1 = as good: ambiguous).
        double sharpness = 0.0;
        bool confident = false;

        // "+3.42 s, position residual 2.1 m, confident".
        std::string summary() const;
    };

    // Lags tried: ±`searchSeconds` in whole seconds, then tenths around the best, then the minimum of
    // a parabola through the best tenth and its neighbours. None when the two never overlap by
    // enough (30 samples and half the camera's span) at any lag.
    static std::optional<Result> find(const Series& camera, const Series& boat, double searchSeconds = 600.0);

    static constexpr double ambiguityWindow = 5.0;
};
