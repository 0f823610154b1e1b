#pragma once

#include <chrono>
#include <thread>

#include "platform/utils/Synchronised.h"

namespace tarn::test {

/// The time since it was made, as far as the machine had a processor for each thread that wanted
/// one: while twice as many want to run as there are processors, a second counts for half of one.
/// Under a sanitizer, with which each step takes several times as long, it counts for less again.
/// For bounds that are promises about a machine that is not overloaded; nothing ever takes longer
/// in it than by the clock. Used by one thread.
class MachineTime {
  public:
    MachineTime();

    std::chrono::milliseconds elapsed() const;

  private:
    using Clock = std::chrono::steady_clock;
    using Seconds = std::chrono::duration<double>;
    void watch(const std::stop_token& stop);

    mutable utils::Synchronised<Seconds> counted{Seconds(0)};
    std::jthread watching;
};

}  // namespace tarn::test
