#pragma once

#include "platform/os/DescriptorSet.h"
#include "platform/os/StopSignals.h"
#include "platform/os/WakeUp.h"
#include "platform/utils/Synchronised.h"

namespace tarn::peers {

/// That somebody wants the job to end: a destroy command, from any thread, or SIGTERM or SIGINT to
/// the process.
class StopRequest {
  public:
    enum class Wish {
        None,
        EndNow,      ///< a persistent job is started again by the next service
        EndForGood,  ///< and this one is not
    };

    /// From now on the two signals are taken here: construct before threads are started. Throws
    /// std::system_error.
    StopRequest() = default;

    /// Any thread. A wish is kept until a stronger one comes.
    void request(Wish wish);

    /// Any thread.
    Wish wish();

    /// For poll: readable when `take` has something new.
    int descriptor() const { return inputs.descriptor(); }

    /// Turns what arrived at the descriptors into the wish, and gives it.
    Wish take();

  private:
    os::StopSignals signals;
    os::WakeUp wishes;
    const os::DescriptorSet inputs{signals.descriptor(), wishes.descriptor()};
    tarn::utils::Synchronised<Wish> current{Wish::None};
};

}  // namespace tarn::peers
