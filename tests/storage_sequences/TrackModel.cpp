#include "tests/storage_sequences/TrackModel.h"

#include <algorithm>
#include <utility>

namespace tarn::storage_sequences {

namespace {

// The least that any track has records for.
constexpr std::ptrdiff_t mostFrames = 1024;

std::string frame(std::int64_t timePoint) {
    return "frame " + std::to_string(timePoint);
}

std::string text(const std::optional<std::int64_t>& timePoint) {
    return timePoint ? frame(*timePoint) : std::string("nothing");
}

}  // namespace

// What it goes over is gone from then on, whatever becomes of it.
void TrackModel::sent(std::uint64_t frameSize) {
    all.push_back({.timePoint = ++lastTimePoint, .size = frameSize});
    std::uint64_t taken = 0;
    auto oldest = lastTimePoint + 1;
    for (auto older = all.rbegin(); older != all.rend(); ++older) {
        taken += older->size;
        if (taken > ringSize || older - all.rbegin() >= mostFrames) {
            break;
        }
        oldest = older->timePoint;
    }
    firstWithRoom = std::max(firstWithRoom, oldest);
}

void TrackModel::acknowledged() {
    safe = lastTimePoint;
}

void TrackModel::durable() {
    safe = onDisk = lastTimePoint;
}

void TrackModel::clearing() {
    clear = Clearing::Open;
}

void TrackModel::cleared() {
    clear = Clearing::No;
    all.clear();
    hasHoles = false;
    safe = onDisk = lastTimePoint;
}

void TrackModel::resizing(std::uint64_t size) {
    openSize = size;
}

void TrackModel::resized(std::uint64_t reached) {
    openSize.reset();
    ringSize = reached;
}

void TrackModel::changing(const Properties& wanted) {
    openProperties = wanted;
}

void TrackModel::changed() {
    kept = *std::exchange(openProperties, std::nullopt);
}

void TrackModel::nothingChanged() {
    openSize.reset();
    openProperties.reset();
    clear = Clearing::No;
}

void TrackModel::lost(Loss loss) {
    if (loss == Loss::Power) {
        safe = std::min(safe, onDisk);
    }
}

const TrackModel::Frame* TrackModel::find(std::int64_t timePoint) const {
    const auto found =
        std::lower_bound(all.begin(), all.end(), timePoint,
                         [](const Frame& f, std::int64_t wanted) { return f.timePoint < wanted; });
    return found != all.end() && found->timePoint == timePoint ? &*found : nullptr;
}

TrackModel::Problems TrackModel::compare(const Found& found, When when) {
    Problems problems;
    checkSize(found, problems);
    checkProperties(found, problems);
    const bool wasCleared =
        clear == Clearing::Open && !found.newest && (!found.frames || found.frames->empty());
    if (!wasCleared) {
        checkEnds(found, problems);
        if (found.frames) {
            checkFrames(*found.frames, problems);
        }
    }
    adopt(found, when);
    return problems;
}

void TrackModel::checkSize(const Found& found, Problems& problems) const {
    const auto other = openSize.value_or(ringSize);
    const auto [least, most] = std::minmax(ringSize, other);
    const bool isBetween = found.size >= least && found.size <= most;
    const bool grows = openSize && *openSize > ringSize;
    const bool isOneOfThem = found.size == ringSize || found.size == openSize;
    if (!isBetween || (grows && !isOneOfThem)) {
        problems.push_back(name() + "has " + std::to_string(found.size) + " bytes instead of " +
                           std::to_string(ringSize) +
                           (openSize ? " or " + std::to_string(*openSize) : ""));
    }
}

void TrackModel::checkProperties(const Found& found, Problems& problems) const {
    if (found.properties != kept && found.properties != openProperties) {
        problems.push_back(name() + "has " + std::to_string(found.properties.size()) +
                           " properties that are neither the last that were answered nor those " +
                           "that were asked for since");
    }
}

// The first that has room and was there.
std::int64_t TrackModel::oldestDue() const {
    const auto due = std::find_if(all.begin(), all.end(),
                                  [this](const Frame& f) { return f.timePoint >= firstWithRoom; });
    return due == all.end() ? lastTimePoint + 1 : due->timePoint;
}

void TrackModel::checkEnds(const Found& found, Problems& problems) const {
    for (const auto& end : {found.oldest, found.newest}) {
        if (end && find(*end) == nullptr) {
            problems.push_back(name() + frame(*end) +
                               " was cleared, or seen to be lost, or never written");
        }
    }
    const auto needed = hasHoles ? onDisk : safe;
    const auto due = oldestDue();
    const auto last = std::find_if(all.rbegin(), all.rend(),
                                   [&](const Frame& f) { return f.timePoint <= needed; });
    if (last == all.rend() || last->timePoint < due) {
        return;
    }
    if (!found.newest || *found.newest < last->timePoint) {
        problems.push_back(name() + frame(last->timePoint) + " is lost; the newest is " +
                           text(found.newest));
    }
    if (!found.oldest || *found.oldest > due) {
        problems.push_back(name() + frame(due) + " has room and is lost; the oldest is " +
                           text(found.oldest));
    }
}

void TrackModel::checkFrames(const std::vector<Frame>& frames, Problems& problems) const {
    for (const auto& found : frames) {
        const auto* const known = find(found.timePoint);
        if (known == nullptr) {
            problems.push_back(name() + frame(found.timePoint) +
                               " is read, and was cleared, or lost, or never written");
        } else if (!found.isWhole || found.size != known->size) {
            problems.push_back(name() + frame(found.timePoint) + " is torn");
        }
    }
    checkUnbroken(frames, problems);
}

// Where the disk has failed only what was durable by then must be there.
void TrackModel::checkUnbroken(const std::vector<Frame>& frames, Problems& problems) const {
    auto found = frames.begin();
    for (const auto& expected : all) {
        const bool isBetween = !frames.empty() && expected.timePoint > frames.front().timePoint &&
                               expected.timePoint < frames.back().timePoint;
        while (found != frames.end() && found->timePoint < expected.timePoint) {
            ++found;
        }
        const bool isThere = found != frames.end() && found->timePoint == expected.timePoint;
        if (isBetween && !isThere && (!hasHoles || expected.timePoint <= onDisk)) {
            problems.push_back(name() + frame(expected.timePoint) + " is missing in the middle");
        }
    }
}

void TrackModel::adopt(const Found& found, When when) {
    ringSize = found.size;
    kept = found.properties;
    openSize.reset();
    openProperties.reset();
    clear = Clearing::No;
    std::erase_if(all, [&](const Frame& f) {
        const bool isOutside = !found.newest || f.timePoint > *found.newest ||
                               (f.timePoint < *found.oldest && when == When::AtStart);
        const bool isMissing =
            found.frames && found.oldest && f.timePoint >= *found.oldest &&
            std::none_of(found.frames->begin(), found.frames->end(),
                         [&](const Frame& other) { return other.timePoint == f.timePoint; });
        return isOutside || isMissing;
    });
    if (when == When::AtStart) {
        safe = lastTimePoint;
        onDisk = hasHoles ? onDisk : lastTimePoint;
    }
}

}  // namespace tarn::storage_sequences
