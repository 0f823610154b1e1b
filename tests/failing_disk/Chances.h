#pragma once

#include <memory>
#include <mutex>
#include <random>

#include "tests/failing_disk/FileContent.h"

namespace tarn::failing_disk {

inline Luck never() {
    return [] { return false; };
}

inline Luck always() {
    return [] { return true; };
}

/// One time in so many, at random, repeatably from a seed; asked from any thread.
inline Luck oneIn(unsigned often, std::uint64_t seed) {
    struct Dice {
        std::mutex mutex;
        std::mt19937_64 random;
    };
    auto dice = std::make_shared<Dice>();
    dice->random.seed(seed);
    return [dice, often] {
        const std::lock_guard lock(dice->mutex);
        return dice->random() % often == 0;
    };
}

}  // namespace tarn::failing_disk
