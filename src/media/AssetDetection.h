#pragma once

#include <memory>
#include <string>

// What a detecting constructor found: the asset, or why there is none.
//
// `noTime` breaks an invariant (a reachable file always has a file-system date), so the desktop
// program stops on it; the probe-media verb reports it for that one file and goes on.
template <class Asset> struct AssetDetection {
    enum class Failure { none, unreachable, noTime };

    std::shared_ptr<Asset> asset;
    Failure failure = Failure::none;
    // For `noTime`: the message of the stop.
    std::string stopMessage;
};
