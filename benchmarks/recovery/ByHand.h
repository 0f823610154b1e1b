#pragma once

#include <cstddef>

namespace tarn::benchmarks {

/// Starts that many launchers as a shell would and sets them up, `atOnce` of them at a time.
/// Returns when all have answered; throws when one refuses.
void startByHand(std::size_t jobs, std::size_t atOnce);

}  // namespace tarn::benchmarks
