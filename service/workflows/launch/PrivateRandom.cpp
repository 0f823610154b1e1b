#include "service/workflows/launch/PrivateRandom.h"

#include <cstdint>

namespace tarn::service {

PrivateRandom::PrivateRandom() {
    constexpr unsigned unseeded = 1;  // what the process-wide generator begins with
    ::initstate_r(unseeded, state, sizeof state, &data);
}

int PrivateRandom::next() {
    std::int32_t drawn = 0;
    ::random_r(&data, &drawn);
    return drawn;
}

}  // namespace tarn::service
