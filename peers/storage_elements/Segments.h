#pragma once

#include <gst/gst.h>

#include <optional>

namespace tarn::peers::storage_elements {

/// Decides when played buffers begin a new segment, so that their running time goes on whatever
/// their time stamps do: they need not begin at zero (an encoder may begin anywhere), and begin anew
/// with each recording. The position is how long it has been playing.
class Segments {
  public:
    /// `base`: the running time of the first buffer.
    explicit Segments(GstClockTime base) : begin(base), runningTime(base) {}

    /// The segment that has to come before this buffer, if any. `isGap`: frames before it are
    /// missing.
    std::optional<GstSegment> before(const GstBuffer* buffer, bool isGap);

  private:
    const GstClockTime begin;
    GstClockTime runningTime;
    GstSegment current{};
    enum class State { None, Running } state = State::None;
    GstClockTime lastTime = GST_CLOCK_TIME_NONE;
};

}  // namespace tarn::peers::storage_elements
