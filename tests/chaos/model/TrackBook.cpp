#include "tests/chaos/model/TrackBook.h"

#include <algorithm>

namespace tarn::chaos {

void TrackBook::created(std::int64_t track, std::uint64_t size) {
    known[track] = {Presence::There, {size}};
    ++count;
}

void TrackBook::resized(std::int64_t track, std::uint64_t size, Outcome outcome) {
    auto& sizes = known[track].sizes;
    if (outcome == Outcome::Done) {
        sizes.clear();
        ++count;
    }
    sizes.push_back(size);
}

void TrackBook::destroyed(std::int64_t track, Outcome outcome) {
    known[track].presence = outcome == Outcome::Done ? Presence::Gone : Presence::Open;
    count += outcome == Outcome::Done ? 1U : 0U;
}

std::vector<std::int64_t> TrackBook::tracks() const {
    std::vector<std::int64_t> there;
    for (const auto& [id, entry] : known) {
        if (entry.presence == Presence::There) {
            there.push_back(id);
        }
    }
    return there;
}

std::vector<std::string> TrackBook::problemsWith(const std::map<std::int64_t, Track>& found) const {
    Problems problems;
    for (const auto& [id, entry] : known) {
        const auto track = found.find(id);
        check(id, entry, track == found.end() ? nullptr : &track->second, problems);
    }
    const auto unknown = std::count_if(found.begin(), found.end(), [this](const auto& track) {
        return !known.contains(track.first);
    });
    if (unknown > static_cast<std::ptrdiff_t>(openCreations)) {
        problems.push_back(std::to_string(unknown) + " tracks that nobody ordered, at most " +
                           std::to_string(openCreations) + " may be there");
    }
    return problems;
}

void TrackBook::check(std::int64_t id, const Entry& entry, const Track* found, Problems& problems) {
    const auto name = "track " + std::to_string(id);
    if (found == nullptr) {
        if (entry.presence == Presence::There) {
            problems.push_back(name + " is lost");
        }
        return;
    }
    if (entry.presence == Presence::Gone) {
        problems.push_back(name + " was destroyed and is there");
    }
    const bool fits = std::any_of(entry.sizes.begin(), entry.sizes.end(), [&](std::uint64_t size) {
        return found->size == static_cast<std::int64_t>(size);
    });
    if (!fits) {
        problems.push_back(name + " has " + std::to_string(found->size) + " bytes instead of " +
                           std::to_string(entry.sizes.back()));
    }
}

}  // namespace tarn::chaos
