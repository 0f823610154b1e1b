#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "peers/storage_elements/FrameFormat.h"
#include "peers/storage_elements/StorageHandles.h"

namespace tarn::peers::storage_elements {

/// "oldest", "live" or a time point in nanoseconds. Throws std::invalid_argument.
struct PlayStart {
    int kind = TARN_STORAGE_START_OLDEST;
    std::int64_t timePoint = 0;
};
PlayStart parseStart(const std::string& text);

/// Reads media buffers from a track. One thread at a time. Throws std::runtime_error.
class TrackPlayer {
  public:
    enum class AtEnd { Stop, Follow };
    enum class Result {
        Frame,
        NoneYet,
        End,        ///< what there was at the start has been played
        Overtaken,  ///< frames are missing before the next one; `message` tells
    };

    TrackPlayer(const Location& location, std::int64_t track, const std::string& workerName,
                const PlayStart& start, AtEnd atEnd);

    /// The next one, for which it waits at most so long. The first, and the first after Overtaken,
    /// can be decoded by itself: those before it, which nobody could use, are left out. The frame's
    /// bytes are valid until the next call.
    Result next(std::chrono::milliseconds timeOut, DecodedFrame& frame);
    const char* message() const { return tarn_storage_error_get_message(error.get()); }

  private:
    bool isOver() const;

    const ErrorHandle error;
    const ConnectionHandle connection;
    const ReaderHandle reader;
    const AtEnd atEnd;
    std::int64_t last = -1;
    enum class Entry { Wanted, Found } entry = Entry::Wanted;
};

}  // namespace tarn::peers::storage_elements
