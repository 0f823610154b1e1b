#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/chaos/model/World.h"

namespace tarn::chaos {

/// Which tracks must be there in the end, and how large.
///
/// What the storage has said is done holds from then on, however often it is killed. What was under
/// way when somebody was killed may be done or not, but not half.
class TrackBook {
  public:
    enum class Outcome { Done, Open };

    /// `Done`: the track of that number is there.
    void created(std::int64_t track, std::uint64_t size);
    /// Nobody knows, and under which number.
    void creationIsOpen() { ++openCreations; }
    void resized(std::int64_t track, std::uint64_t size, Outcome outcome);
    void destroyed(std::int64_t track, Outcome outcome);

    /// Those that are there for certain.
    std::vector<std::int64_t> tracks() const;
    std::size_t changes() const { return count; }

    /// What is wrong with these, one line each.
    std::vector<std::string> problemsWith(const std::map<std::int64_t, Track>& found) const;

  private:
    enum class Presence { There, Gone, Open };
    struct Entry {
        Presence presence = Presence::There;
        std::vector<std::uint64_t> sizes;  // any of them
    };
    using Problems = std::vector<std::string>;

    static void check(std::int64_t id, const Entry& entry, const Track* found, Problems& problems);

    std::map<std::int64_t, Entry> known;
    std::size_t openCreations = 0;
    std::size_t count = 0;
};

}  // namespace tarn::chaos
