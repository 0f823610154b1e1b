#pragma once

#include <memory>

#include "platform/utils/Synchronised.h"

namespace tarn::proto::deltacast_configuration {
class DeltacastConfig;
}
namespace tarn::utils {
class IMessageFormatter;
}

namespace tarn::service::devices {

/// The one capture format that waits to be applied: a newer wish replaces the older one, whatever
/// the two are. Any thread.
class DeltacastConfigurationSlot {
  public:
    using DeltacastConfig = tarn::proto::deltacast_configuration::DeltacastConfig;

    enum class Wish { None, Defaults, Configuration };
    struct Taken {
        Wish wish = Wish::None;
        std::unique_ptr<DeltacastConfig> configuration;  ///< of a wished configuration only
    };

    /// The formatter outlives this.
    explicit DeltacastConfigurationSlot(const utils::IMessageFormatter& formatter);
    ~DeltacastConfigurationSlot();

    void put(const DeltacastConfig& configuration);
    void putDefaults();

    /// Empties the slot.
    Taken take();

  private:
    const utils::IMessageFormatter& formatter;
    utils::Synchronised<Taken> waiting;
};

}  // namespace tarn::service::devices
