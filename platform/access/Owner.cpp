#include "platform/access/Owner.h"

#include "proto/job_monitoring.pb.h"

namespace tarn::access {

Owner::Owner(const socket::Peer& submitter) : key(submitter.key) {
    if (submitter.user) {
        user = submitter.user->user;
    }
}

Owner::Owner(const proto::job_monitoring::JobOwner& message) : key(message.key()) {
    if (message.has_user()) {
        user = message.user();
    }
}

bool Owner::is(const socket::Peer& somebody) const {
    return (user && somebody.user && *user == somebody.user->user) ||
           (!key.empty() && key == somebody.key);
}

proto::job_monitoring::JobOwner Owner::toProtoBuf() const {
    proto::job_monitoring::JobOwner message;
    if (user) {
        message.set_user(*user);
    }
    if (!key.empty()) {
        message.set_key(key);
    }
    return message;
}

}  // namespace tarn::access
