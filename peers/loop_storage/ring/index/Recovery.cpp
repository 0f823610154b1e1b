#include "peers/loop_storage/ring/index/Recovery.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <utility>

#include "peers/loop_storage/ring/index/FrameCheck.h"

namespace tarn::peers::loop_storage {

namespace {

using Frames = std::deque<FrameInfo>;

/// One settling of what an index tells against the bytes of the data file.
///
/// Frames are of two kinds, by their sequence numbers:
///
///   certain    on the disk at the last checkpoint. One of them can only have been gone over since,
///              and only up to the limit which that allowed: there its bytes decide
///   doubtful   written after it: there only if its own bytes and those of all between are
///
/// A frame that is kept may be taken, never the other way round: by `dropTornOldest` the certain
/// ones up to the last torn one, by `keepUnbrokenRun` the doubtful ones from the first on that is
/// not whole, by `restoreLength`, whatever the index says, those in a part of the file that was cut
/// off.
///
/// Always: the doubtful ones that are kept follow on the certain ones without a gap, and are whole;
/// the record of every frame that was taken is among those that are returned to be blanked, so that
/// none comes back.
class Recovery {
  public:
    Recovery(IndexContent& content, const DiskFile& data)
        : content(content), data(data), ringSize(content.track.dataSize) {}

    std::vector<std::uint64_t> settleDoubts() {
        if (content.state == IndexContent::State::Doubtful) {
            dropTornOldest();
            keepUnbrokenRun();
        }
        return std::move(gone);
    }

    void restoreLength() {
        const auto there = data.size();
        if (there > ringSize) {
            data.truncate(ringSize);
        }
        if (there >= ringSize) {
            return;
        }
        drop(
            [&](const FrameInfo& frame) { return frame.position % ringSize + frame.size > there; });
        content.notes.push_back(data.path().string() + " has been cut: frames at its end are lost");
        data.allocate(ringSize, [] {});
    }

  private:
    // One that has no checksum is of an old version, and cannot be told from a torn one.
    bool isWhole(const FrameInfo& frame) const {
        return checkFrame(frame, data, ringSize) == FrameCheck::Whole;
    }

    bool wasCertain(const FrameInfo& frame) const {
        return frame.sequence < content.certain.sequence;
    }

    // The ring goes over its frames from the oldest on: with a torn one all before it are gone.
    void dropTornOldest() {
        std::uint64_t first = 0;
        for (const auto& frame : content.frames) {
            const bool mayBeTorn =
                wasCertain(frame) && frame.position + ringSize < content.certain.limit;
            if (mayBeTorn && !isWhole(frame)) {
                first = frame.sequence + 1;
                content.lost = frame.timePoint;
            }
        }
        drop([first](const FrameInfo& frame) { return frame.sequence < first; });
    }

    // Of what goes at the end nobody was promised anything. A torn frame that the ring had begun to
    // go over is gone with all before it; if nothing follows it, what was before it is kept.
    void keepUnbrokenRun() {
        const auto begin =
            std::find_if_not(content.frames.begin(), content.frames.end(),
                             [this](const FrameInfo& one) { return wasCertain(one); });
        Run run{.frames = {content.frames.begin(), begin},
                .next = content.certain.next,
                .lost = content.lost};
        Run last;
        for (auto frame = begin; frame != content.frames.end() && frame->sequence == run.next;
             ++frame, ++run.next) {
            if (isWhole(*frame)) {
                run.frames.push_back(*frame);
            } else if (frame->position + ringSize >= content.limit) {
                break;
            } else {
                last = run.frames.empty() ? last : run;
                run.frames.clear();
                run.lost = frame->timePoint;
            }
        }
        keep(run.frames.empty() && !last.frames.empty() ? last : run);
    }

    /// What the ring held at some moment.
    struct Run {
        Frames frames{};
        std::uint64_t next = 0;
        std::optional<std::int64_t> lost{};
    };

    void keep(const Run& run) {
        const auto first = run.frames.empty() ? run.next : run.frames.front().sequence;
        drop([&](const FrameInfo& frame) { return frame.sequence < first; });
        content.frames = run.frames;
        content.nextSequence = run.next;
        content.lost = run.lost;
        // Whatever is left is whole, however far more was written.
        content.limit = run.frames.empty() ? content.limit : run.frames.back().end();
        std::copy_if(content.certain.beyond.begin(), content.certain.beyond.end(),
                     std::back_inserter(gone),
                     [&](std::uint64_t sequence) { return sequence >= run.next; });
        content.notes.push_back(
            "The machine stopped while it was written: kept is what was on "
            "the disk, to frame " +
            std::to_string(run.next));
    }

    template <typename Judge>
    void drop(Judge isGone) {
        Frames kept;
        for (const auto& frame : content.frames) {
            if (isGone(frame)) {
                gone.push_back(frame.sequence);
            } else {
                kept.push_back(frame);
            }
        }
        content.frames = std::move(kept);
    }

    IndexContent& content;
    const DiskFile& data;
    const std::uint64_t ringSize;
    std::vector<std::uint64_t> gone;
};

}  // namespace

std::vector<std::uint64_t> settle(IndexContent& content, const DiskFile& data) {
    Recovery recovery(content, data);
    recovery.restoreLength();
    return recovery.settleDoubts();
}

std::vector<std::uint64_t> settleDoubts(IndexContent& content, const DiskFile& data) {
    return Recovery(content, data).settleDoubts();
}

}  // namespace tarn::peers::loop_storage
