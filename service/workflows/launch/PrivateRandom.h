#pragma once

#include <cstdlib>

namespace tarn::service {

/// The sequence of the C library's `rand` that was never seeded, undisturbed: the process-wide
/// generator is also drawn from by libraries, whenever a connection is tried again. One thread at a
/// time.
class PrivateRandom {
  public:
    PrivateRandom();
    PrivateRandom(const PrivateRandom&) = delete;
    PrivateRandom& operator=(const PrivateRandom&) = delete;

    /// 0 to RAND_MAX.
    int next();

  private:
    char state[128] = {};  // the size of the process-wide generator's
    random_data data{};
};

}  // namespace tarn::service
