#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "cli/client/Session.h"
#include "cli/events/BatchFollower.h"
#include "proto/service_event.pb.h"

namespace tarn::cli {

/// Which events are shown, and how many.
struct EventsOptions {
    enum class Mode { Some, Follow };

    std::vector<int> types;  ///< of ServiceEvent; empty is every type
    std::optional<std::uint64_t> count;
    Mode mode = Mode::Some;
};

/// Writes the service's events: a line each, or as JSON. Used by one thread.
class EventsWatch : public BatchListener {
  public:
    /// `options` and the session outlive this.
    EventsWatch(const EventsOptions& options, const Session& session);

    Wanted batch(const proto::service_event::ServiceEventBatch& batch,
                 const BatchSequence::Finding& finding) override;
    void notice(const std::string& text) override;

    /// Writes what is written at the end alone.
    void conclude();

    std::uint64_t shown() const { return count; }

  private:
    using Events = std::vector<proto::service_event::ServiceEvent>;

    Events chosen(const proto::service_event::ServiceEventBatch& batch) const;
    std::uint64_t missing() const;
    void writeLines(const Events& events);

    const EventsOptions& options;
    const Session& session;
    std::uint64_t count = 0;
    Events gathered;  // for the one document
};

}  // namespace tarn::cli
