#pragma once

#include "core/Instant.h"
#include "media/MediaAsset.h"

#include <memory>
#include <vector>

// The assets of `group` that cover `position`, the one to show first. A video covers it from its
// start to its end, both included; a photo from 10 s before to 10 s after its time, both excluded.
// Nearest start first; equally near assets keep their order in `assets`.
std::vector<std::shared_ptr<MediaAsset>> visibleAssets(const std::vector<std::shared_ptr<MediaAsset>>& assets,
                                                       const std::shared_ptr<MediaGroup>& group,
                                                       Instant position);
