#pragma once

#include <string>

namespace tarn::utils {

class UuidGenerator {
  public:
    /// A new random UUID as 36 lower-case characters. Any thread. Draws from the kernel's
    /// generator, never from rand. Throws std::runtime_error when the kernel gives no random bytes.
    static std::string Generate();
};

}  // namespace tarn::utils
