#include "peers/storage_elements/Segments.h"

#include <algorithm>

namespace tarn::peers::storage_elements {

namespace {

// Time stamps go back a little where frames are not stored in the order they are shown.
constexpr GstClockTime reordering = 2 * GST_SECOND;

GstClockTime timeOf(const GstBuffer* buffer) {
    return GST_CLOCK_TIME_IS_VALID(buffer->dts) ? buffer->dts : buffer->pts;
}

}  // namespace

std::optional<GstSegment> Segments::before(const GstBuffer* buffer, bool isGap) {
    const auto time = timeOf(buffer);
    if (!GST_CLOCK_TIME_IS_VALID(time)) {
        return std::nullopt;
    }
    const bool goesBack = GST_CLOCK_TIME_IS_VALID(lastTime) && time + reordering < lastTime;
    const bool begins = state == State::None || goesBack || isGap;
    if (begins) {
        gst_segment_init(&current, GST_FORMAT_TIME);
        current.start = time;
        current.position = time;
        current.time = runningTime - begin;
        current.base = runningTime;
        state = State::Running;
    }
    lastTime = time;
    const auto length = GST_BUFFER_DURATION_IS_VALID(buffer) ? buffer->duration : 0;
    const auto within = time > current.start ? time - current.start : 0;
    runningTime = std::max<GstClockTime>(runningTime, current.base + within + length);
    return begins ? std::optional(current) : std::nullopt;
}

}  // namespace tarn::peers::storage_elements
