#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/socket/Peer.h"
#include "proto/job_monitoring.fwd.h"

namespace tarn::access {

/// Whose a job is: who submitted it, by what his connection says of him. Nobody's where it says
/// nothing. A value.
struct Owner {
    std::optional<uid_t> user;  ///< of this machine
    std::string key;            ///< of a client on another one; empty: none

    Owner() = default;
    explicit Owner(const socket::Peer& submitter);
    explicit Owner(const proto::job_monitoring::JobOwner& message);

    bool isNobody() const { return !user && key.empty(); }

    /// Whether somebody is the one. Nobody's job is nobody's own.
    bool is(const socket::Peer& somebody) const;

    proto::job_monitoring::JobOwner toProtoBuf() const;
};

}  // namespace tarn::access
