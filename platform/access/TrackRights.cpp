#include "platform/access/TrackRights.h"

#include <charconv>

namespace tarn::access {

namespace {

std::optional<TrackAccess> accessNamed(std::string_view name) {
    if (name == "read") {
        return TrackAccess::Read;
    }
    return name == "write" ? std::optional(TrackAccess::Write) : std::nullopt;
}

std::optional<std::int64_t> trackIn(std::string_view text) {
    std::int64_t track = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, track);
    const bool isGood = result.ec == std::errc() && result.ptr == end && track >= 0;
    return isGood ? std::optional(track) : std::nullopt;
}

}  // namespace

std::optional<TrackRights> TrackRights::Parse(std::string_view text) {
    TrackRights rights;
    for (;;) {
        const auto comma = text.find(',');
        if (!rights.take(text.substr(0, comma))) {
            return std::nullopt;
        }
        if (comma == std::string_view::npos) {
            return rights;
        }
        text.remove_prefix(comma + 1);
    }
}

// False also for a track that was named before: which of the two was meant is not known.
bool TrackRights::take(std::string_view item) {
    const auto colon = item.find(':');
    if (colon == std::string_view::npos) {
        return false;
    }
    const auto access = accessNamed(item.substr(colon + 1));
    const auto name = item.substr(0, colon);
    if (!access) {
        return false;
    }
    if (name == "*") {
        const bool isFirst = !others;
        others = access;
        return isFirst;
    }
    const auto track = trackIn(name);
    return track && tracks.emplace(*track, *access).second;
}

bool TrackRights::allows(std::int64_t track, TrackAccess access) const {
    const auto own = tracks.find(track);
    const auto given = own == tracks.end() ? others : std::optional(own->second);
    return given && *given >= access;
}

}  // namespace tarn::access
