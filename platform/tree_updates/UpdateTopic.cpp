#include "platform/tree_updates/UpdateTopic.h"

#include "proto/service_event.pb.h"

namespace tarn::tree_updates {

const std::string& updateTopic() {
    static const std::string topic = [] {
        proto::service_event::TreeUpdate update;
        update.set_topic("differences");
        return update.SerializeAsString();
    }();
    return topic;
}

}  // namespace tarn::tree_updates
