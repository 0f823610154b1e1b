#include "tests/cli/StorageFixture.h"

namespace tarn::cli {

using namespace proto::api_service;
using proto::monitoring::DeviceNode;
using proto::monitoring::NamedStatus;

void StorageFixture::storageAnswers(std::function<void(const Request&, Reply&)> fill) {
    service.answers(ApiToServiceRequest::LOOP_STORAGE, [fill](const ApiToServiceRequest& envelope) {
        const auto& request = envelope.GetExtension(ApiToServiceRequestLoopStorage::base).request();
        auto answer = std::make_unique<ServiceToApiReply>();
        answer->set_type(ServiceToApiReply::LOOP_STORAGE);
        answer->set_success(true);
        auto& reply =
            *answer->MutableExtension(ServiceToApiReplyLoopStorage::base)->mutable_reply();
        reply.set_type(static_cast<Reply::Type>(request.type() + 1));
        reply.set_success(true);
        fill(request, reply);
        return answer;
    });
}

void StorageFixture::treeIs(const DeviceNode& tree) {
    service.answers(ApiToServiceRequest::GET_MONITORING_INFO, [tree](const auto&) {
        auto answer = std::make_unique<ServiceToApiReply>();
        answer->set_type(ServiceToApiReply::GET_MONITORING_INFO);
        answer->set_success(true);
        *answer->MutableExtension(ServiceToApiReplyGetMonitoringInfo::base)->mutable_device_tree() =
            tree;
        return answer;
    });
}

StorageFixture::Request StorageFixture::lastOperation() const {
    return service.lastRequest().GetExtension(ApiToServiceRequestLoopStorage::base).request();
}

DeviceNode& addStorage(DeviceNode& tree, const std::string& id) {
    auto& storage = *tree.add_sub_devices();
    storage.set_id(id);
    storage.set_name("LoopStorage");
    storage.set_device_class(DeviceNode::LOOP_STORAGE);
    return storage;
}

DeviceNode& addTrack(DeviceNode& storage, const std::string& id, const std::string& size) {
    auto& track = *storage.add_sub_devices();
    track.set_id(storage.id() + "_track_" + id);
    addProperty(track, "TrackId", id);
    addProperty(track, "Size", size);
    return track;
}

void addProperty(DeviceNode& node, const std::string& name, const std::string& value) {
    auto& property = *node.add_properties();
    property.set_name(name);
    property.set_value(value);
}

namespace {

NamedStatus& addStatus(DeviceNode& node, const std::string& name) {
    auto& status = *node.add_statuses();
    status.set_name(name);
    return status;
}

}  // namespace

void putToUse(DeviceNode& track) {
    addStatus(track, "NumReaders").set_unsigned_value(2);
    addStatus(track, "NumWriters").set_unsigned_value(1);
    addStatus(track, "ReadersList").set_text_value("play1,play2");
    addStatus(track, "WritersList").set_text_value("recorder");
    addStatus(track, "StartTimepoint").set_signed_value(1000000000);
    addStatus(track, "EndTimepoint").set_signed_value(61000000000);
}

}  // namespace tarn::cli
