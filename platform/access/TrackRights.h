#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tarn::access {

/// What one may do at a track: the second all that the first one may.
enum class TrackAccess { Read, Write };

/// The tracks of a loop storage that somebody may use, and how. A value.
class TrackRights {
  public:
    /// "3:read,7:write,*:read", where "*" is every other track. Nothing for another text.
    static std::optional<TrackRights> Parse(std::string_view text);

    bool allows(std::int64_t track, TrackAccess access) const;

    friend bool operator==(const TrackRights&, const TrackRights&) = default;

  private:
    bool take(std::string_view item);

    std::map<std::int64_t, TrackAccess> tracks;
    std::optional<TrackAccess> others;
};

}  // namespace tarn::access
