#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tarn::chaos {

/// What a track must hold into which frames with the time points 1, 2, 3, ... are written, of which
/// everything else follows: how large each is and what is in it.
///
/// Frames are sent in order, also again after a loss. Every acknowledged one must be there that has
/// room in the ring beside all that were sent after it, whole and in order. Frames have 1 kB at
/// least, so that a ring runs out of bytes before it runs out of slots.
class FrameLedger {
  public:
    /// A frame that was read.
    struct Found {
        std::int64_t timePoint;
        bool isWhole;  ///< isFrame says so
    };

    explicit FrameLedger(std::uint64_t ringSize) : ringSize(ringSize) {}

    static std::uint64_t sizeOf(std::int64_t timePoint);
    static std::string bytesOf(std::int64_t timePoint);
    static bool isFrame(std::int64_t timePoint, const void* data, std::size_t size);

    void sent(std::int64_t timePoint);
    /// It, and all before it.
    void acknowledged(std::int64_t timePoint);
    std::int64_t newestAcknowledged() const { return safe; }

    /// What is wrong with a track that holds these, from its oldest frame on; one line each.
    std::vector<std::string> problemsWith(const std::vector<Found>& frames) const;

  private:
    std::int64_t oldestWithRoom() const;

    const std::uint64_t ringSize;
    std::int64_t last = 0;  // that was ever sent
    std::int64_t safe = 0;
};

}  // namespace tarn::chaos
