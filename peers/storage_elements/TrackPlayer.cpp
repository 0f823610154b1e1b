#include "peers/storage_elements/TrackPlayer.h"

#include <charconv>
#include <stdexcept>
#include <utility>

namespace tarn::peers::storage_elements {

namespace {

ReaderHandle attach(const ConnectionHandle& connection, std::int64_t track, const std::string& name,
                    const PlayStart& start, const ErrorHandle& error) {
    ReaderHandle reader(tarn_storage_reader_create(connection.get(), track, name.c_str(),
                                                   start.kind, start.timePoint, error.get()));
    check(error);
    return reader;
}

// The reader goes on behind it.
bool isLostFrame(int error) {
    return error == TARN_STORAGE_ERROR_DAMAGED || error == TARN_STORAGE_ERROR_UNREADABLE;
}

}  // namespace

PlayStart parseStart(const std::string& text) {
    if (text == "oldest") {
        return {.kind = TARN_STORAGE_START_OLDEST, .timePoint = 0};
    }
    if (text == "live") {
        return {.kind = TARN_STORAGE_START_LIVE, .timePoint = 0};
    }
    PlayStart start{.kind = TARN_STORAGE_START_TIME_POINT, .timePoint = 0};
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, start.timePoint);
    if (text.empty() || result.ec != std::errc() || result.ptr != end) {
        throw std::invalid_argument("'" + text + "' is neither oldest, live nor a time point");
    }
    return start;
}

TrackPlayer::TrackPlayer(const Location& location, std::int64_t track,
                         const std::string& workerName, const PlayStart& start, AtEnd atEnd)
    : error(tarn_storage_error_create()),
      connection(connectTo(location, error)),
      reader(attach(connection, track, workerName, start, error)),
      atEnd(atEnd) {}

bool TrackPlayer::isOver() const {
    return atEnd == AtEnd::Stop && last >= tarn_storage_reader_get_end_at_start(reader.get());
}

TrackPlayer::Result TrackPlayer::next(std::chrono::milliseconds timeOut, DecodedFrame& frame) {
    while (!isOver()) {
        tarn_storage_frame stored{};
        const auto bound = static_cast<unsigned>(timeOut.count());
        const int result = tarn_storage_reader_read(reader.get(), bound, &stored, error.get());
        if (result == 0) {
            return Result::NoneYet;
        }
        if (result < 0) {
            const int type = tarn_storage_error_get_type(error.get());
            if (isLostFrame(type)) {
                last = tarn_storage_reader_get_unreadable_time_point(reader.get());
            }
            if (isLostFrame(type) || type == TARN_STORAGE_ERROR_OVERTAKEN) {
                entry = Entry::Wanted;
                return Result::Overtaken;
            }
            check(error);
        }
        last = stored.time_point;
        auto decoded = decodeFrame({static_cast<const char*>(stored.data), stored.size});
        if (!decoded) {
            throw std::runtime_error("The track holds something else than media buffers");
        }
        if ((decoded->head.flags & deltaUnit) == 0) {
            entry = Entry::Found;
        }
        if (entry == Entry::Found) {
            frame = std::move(*decoded);
            return Result::Frame;
        }
    }
    return Result::End;
}

}  // namespace tarn::peers::storage_elements
