#include "tests/chaos/model/FrameLedger.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace tarn::chaos {

namespace {

constexpr std::uint64_t smallest = 1024;
constexpr std::uint64_t spread = 60000;

std::string frame(std::int64_t timePoint) {
    return "frame " + std::to_string(timePoint);
}

}  // namespace

std::uint64_t FrameLedger::sizeOf(std::int64_t timePoint) {
    std::minstd_rand random(static_cast<std::uint32_t>(timePoint));
    random.discard(2);
    return smallest + random() % spread;
}

std::string FrameLedger::bytesOf(std::int64_t timePoint) {
    std::mt19937_64 random(static_cast<std::uint64_t>(timePoint));
    std::string bytes(sizeOf(timePoint), '\0');
    for (std::size_t at = 0; at < bytes.size(); at += sizeof(std::uint64_t)) {
        const std::uint64_t piece = random();
        std::memcpy(bytes.data() + at, &piece, std::min(sizeof piece, bytes.size() - at));
    }
    return bytes;
}

bool FrameLedger::isFrame(std::int64_t timePoint, const void* data, std::size_t size) {
    const auto expected = bytesOf(timePoint);
    return size == expected.size() && std::memcmp(data, expected.data(), size) == 0;
}

void FrameLedger::sent(std::int64_t timePoint) {
    last = std::max(last, timePoint);
}

void FrameLedger::acknowledged(std::int64_t timePoint) {
    safe = std::max(safe, timePoint);
}

std::int64_t FrameLedger::oldestWithRoom() const {
    std::int64_t oldest = last + 1;
    std::uint64_t taken = 0;
    while (oldest > 1 && taken + sizeOf(oldest - 1) <= ringSize) {
        taken += sizeOf(--oldest);
    }
    return oldest;
}

std::vector<std::string> FrameLedger::problemsWith(const std::vector<Found>& frames) const {
    std::vector<std::string> problems;
    for (std::size_t n = 0; n < frames.size(); ++n) {
        const auto& found = frames[n];
        if (!found.isWhole) {
            problems.push_back(frame(found.timePoint) + " is torn");
        }
        if (n > 0 && found.timePoint != frames[n - 1].timePoint + 1) {
            problems.push_back(frame(found.timePoint) + " follows " +
                               frame(frames[n - 1].timePoint));
        }
        if (found.timePoint > last) {
            problems.push_back(frame(found.timePoint) + " was never written");
        }
    }
    const auto newest = frames.empty() ? 0 : frames.back().timePoint;
    if (newest < safe) {
        problems.push_back(frame(safe) + " was acknowledged and is lost; the newest is " +
                           frame(newest));
    }
    const auto due = oldestWithRoom();
    if (due <= safe && !frames.empty() && frames.front().timePoint > due) {
        problems.push_back(frame(due) + " has room and is lost; the oldest is " +
                           frame(frames.front().timePoint));
    }
    return problems;
}

}  // namespace tarn::chaos
