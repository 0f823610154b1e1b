#pragma once

#include <string>
#include <vector>

#include "tests/chaos/machine/Places.h"
#include "tests/chaos/model/World.h"

namespace tarn::chaos {

/// A device that is fit, or too deep or too large for the tree, in its description or in an event.
class OddDevice {
  public:
    enum class Mode { Fit, DeepDescription, LargeDescription, DeepEvent, LargeEvent };
    static constexpr int modes = 5;
    static constexpr auto name = "odd device";

    explicit OddDevice(const Places& places) : places(places) {}

    void become(Mode wanted) { mode = wanted; }

    /// That is the device.
    std::vector<std::string> command() const;

    /// What the tree must show of it in the end. An event that is refused leaves nothing behind:
    /// the device describes itself again.
    void addTo(Devices& devices) const;

    static const char* describe(Mode mode);

  private:
    const Places& places;
    Mode mode = Mode::Fit;
};

}  // namespace tarn::chaos
