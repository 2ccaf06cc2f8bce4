#pragma once

#include "core/Instant.h"

class TimelineView;

// The owner of a timeline view: it is told of the user's seeks and moves the playback.
class TimelineViewDelegate {
public:
    virtual void timelineViewDidSeek(TimelineView* view, Instant time) = 0;

protected:
    ~TimelineViewDelegate() = default;
};
