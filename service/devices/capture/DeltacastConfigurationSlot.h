#pragma once

#include <memory>

#include "platform/utils/Synchronised.h"
#include "proto/deltacast_configuration.fwd.h"

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
    enum class Origin {
        Order,     ///< a client, or the start-up
        Fallback,  ///< the controller: another format did not come up
        Restart,   ///< the controller: the process that captured it has ended
    };
    struct Taken {
        Wish wish = Wish::None;
        Origin origin = Origin::Order;
        std::unique_ptr<DeltacastConfig> configuration;  ///< of a wished configuration only

        Taken copy() const;
    };

    /// The formatter outlives this.
    explicit DeltacastConfigurationSlot(const utils::IMessageFormatter& formatter);
    ~DeltacastConfigurationSlot();

    void put(const DeltacastConfig& configuration);
    void putDefaults();

    /// The controller's own wish, which does not replace any other: false when one waits, and for
    /// no wish.
    bool offer(Taken wish);

    /// Empties the slot.
    Taken take();

  private:
    const utils::IMessageFormatter& formatter;
    utils::Synchronised<Taken> waiting;
};

}  // namespace tarn::service::devices
