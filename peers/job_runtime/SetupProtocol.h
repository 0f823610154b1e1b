#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "peers/job_runtime/JobSetup.h"
#include "proto/job_monitoring.fwd.h"

namespace google::protobuf {
class Message;
}

namespace tarn::peers {

/// What a launcher answers to a setup.
struct SetupVerdict {
    std::optional<std::string> refusal;  ///< why not; none: accepted
    std::string warning;                 ///< what an accepted job lacks; empty: nothing
};

/// The messages by which one kind of launcher is set up.
class SetupProtocol {
  public:
    virtual ~SetupProtocol() = default;

    /// Empty, to receive into.
    virtual std::unique_ptr<google::protobuf::Message> newRequest() const = 0;

    /// Throws std::invalid_argument, with the reason, for a request that is no setup.
    virtual JobSetup read(const google::protobuf::Message& request) const = 0;

    /// The answer: success, or the refusal with its reason.
    virtual std::unique_ptr<google::protobuf::Message> makeReply(
        const SetupVerdict& verdict) const = 0;
};

/// A setup of a later version may say what this launcher would leave out: better no job than half
/// of one. Throws std::invalid_argument.
template <typename Setup>
void refuseLaterVersion(const Setup& setup) {
    if (setup.version() > Setup::CURRENT) {
        throw std::invalid_argument("The setup is of version " + std::to_string(setup.version()) +
                                    ", and this launcher takes " +
                                    std::to_string(static_cast<int>(Setup::CURRENT)) +
                                    " at most: it is older than the service");
    }
}

/// The registry's record of a job in this process. `resources` is a repeated field of
/// ResourceToReserve.
template <typename Reservations>
tarn::resource_manager::RunningJob::Resources toResources(const Reservations& reservations) {
    tarn::resource_manager::RunningJob::Resources resources;
    for (const auto& reservation : reservations) {
        auto& values = resources[reservation.name()];
        values.insert(values.end(), reservation.values().begin(), reservation.values().end());
    }
    return resources;
}

/// How its endpoints are protected. `message` is a TcpSecurity.
template <typename Message>
tarn::access::TcpAccessSettings toTcpAccess(const Message& message) {
    return {.required = message.required(),
            .keyFile = message.key_file(),
            .clientKeys = message.client_keys(),
            .serverKey = {},
            .serverKeys = {}};
}

}  // namespace tarn::peers
