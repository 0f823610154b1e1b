#pragma once

#include <string>

namespace tarn::chaos {

/// A host of its own, as far as TCP can tell: an address of this machine that is there as long as
/// this lives. When it is gone, whoever is connected to it hears nothing more, no reset and no end.
class VanishingHost {
  public:
    VanishingHost();
    ~VanishingHost();
    VanishingHost(const VanishingHost&) = delete;
    VanishingHost& operator=(const VanishingHost&) = delete;

    static constexpr auto address = "10.77.0.1";
};

}  // namespace tarn::chaos
