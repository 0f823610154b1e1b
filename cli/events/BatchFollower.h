#pragma once

#include <chrono>
#include <string>

#include "cli/ExitStatus.h"
#include "cli/events/BatchSequence.h"
#include "cli/events/BatchSource.h"
#include "proto/service_event.fwd.h"

namespace tarn::cli {

class Interrupt;

/// Is told what comes while batches are being followed.
class BatchListener {
  public:
    enum class Wanted { More, Enough };

    virtual ~BatchListener() = default;
    virtual Wanted batch(const proto::service_event::ServiceEventBatch& batch,
                         const BatchSequence::Finding& finding) = 0;
    /// What the operator must know: something is missing, nothing comes any more, ...
    virtual void notice(const std::string& text) = 0;
};

/// Follows the service's batches until there are enough of them. The service sends one a second at
/// the latest, so that silence means that something is wrong:
///
///   Awaiting --batch--> Hearing --silence--> Silent
///      |                   ^                   |
///      |                   +-------batch-------+
///      +--silence--> the end, where that is how much patience there is; else Silent
///
/// Used by one thread.
class BatchFollower {
  public:
    using Clock = std::chrono::steady_clock;
    enum class Patience {
        UntilFirst,  ///< the first batch has to come within the bound
        Endless,     ///< also the first may be late
    };
    struct Settings {
        std::string endpoint;             ///< for what is said
        std::string remedy;               ///< what may help when nothing comes
        std::chrono::milliseconds bound;  ///< longer silence is worth a word
        Patience patience;
        Clock::time_point until = Clock::time_point::max();  ///< gives up then
    };

    /// The source outlives this.
    BatchFollower(BatchSource& source, Settings settings);

    /// Done when the listener has enough, NoAnswer when it has not in time, Interrupted after
    /// Ctrl-C. CommandError, with NoAnswer, when there is no first batch.
    ExitStatus follow(BatchListener& listener, const Interrupt& interrupt);

  private:
    enum class State { Awaiting, Hearing, Silent };

    BatchListener::Wanted take(const proto::service_event::ServiceEventBatch& batch,
                               BatchListener& listener);
    void heard(BatchListener& listener);
    void checkSilence(BatchListener& listener);
    std::chrono::milliseconds nextWait() const;

    BatchSource& source;
    const Settings settings;
    BatchSequence sequence;
    State state = State::Awaiting;
    Clock::time_point silentFrom;
};

}  // namespace tarn::cli
