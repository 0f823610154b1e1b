#include "tests/chaos/machine/Capture.h"

#include <array>

#include "proto/api_service.pb.h"
#include "proto/monitoring.pb.h"
#include "tests/system/harness/Api.h"
#include "tests/system/harness/Processes.h"

namespace tarn::chaos {

using namespace proto::api_service;
using proto::monitoring::DeviceNode;
using proto::monitoring::GlobalStatus;

namespace {

constexpr auto program = "/KLN-SDI-Ingest-Service";

CaptureFormat makeFormat(CaptureFormat::LineCount lines, CaptureFormat::FieldMode mode,
                         CaptureFormat::FrameRate rate) {
    CaptureFormat format;
    format.set_pixel_format(CaptureFormat::UYVY422_8);
    format.set_line_count(lines);
    format.set_field_mode(mode);
    format.set_frame_rate(rate);
    auto& input = *format.add_inputs();
    input.set_channel(0);
    input.set_frame_offset(0);
    return format;
}

std::string propertyOf(const DeviceNode& node, const std::string& name) {
    for (const auto& property : node.properties()) {
        if (property.name() == name) {
            return property.value();
        }
    }
    return {};
}

// The only device of the tree that has a capture format.
std::optional<pid_t> wellProcessIn(const DeviceNode& tree) {
    for (const auto& device : tree.sub_devices()) {
        const auto id = propertyOf(device, "PID");
        if (!id.empty() && device.device_class() == DeviceNode::CAPTURE &&
            device.global_status().level() == GlobalStatus::OK) {
            return static_cast<pid_t>(std::stol(id));
        }
    }
    return std::nullopt;
}

}  // namespace

CaptureFormat Capture::good(std::size_t number) {
    static const std::array<CaptureFormat, goodFormats> formats = {
        makeFormat(CaptureFormat::LINES_576, CaptureFormat::INTERLACED, CaptureFormat::RATE_25),
        makeFormat(CaptureFormat::LINES_488, CaptureFormat::INTERLACED, CaptureFormat::RATE_2997),
        makeFormat(CaptureFormat::LINES_720, CaptureFormat::PROGRESSIVE, CaptureFormat::RATE_24)};
    return formats.at(number);
}

CaptureFormat Capture::refused() {
    return makeFormat(CaptureFormat::LINES_576, CaptureFormat::INTERLACED, CaptureFormat::RATE_60);
}

std::string Capture::nameOf(const CaptureFormat& format) {
    return CaptureFormat::LineCount_Name(format.line_count()) + " " +
           CaptureFormat::FieldMode_Name(format.field_mode()) + " " +
           CaptureFormat::FrameRate_Name(format.frame_rate());
}

bool Capture::order(const CaptureFormat& format) const {
    auto request = test::requestOfType(ApiToServiceRequest::CONFIGURE_DELTACAST);
    *request.MutableExtension(ApiToServiceRequestConfigureDeltacast::base)->mutable_config() =
        format;
    const auto reply = test::Api(places.requests).ask(request);
    return reply && reply->success();
}

std::optional<Capture::Running> Capture::running() const {
    test::Api api(places.requests);
    const auto state = api.ask(test::requestOfType(ApiToServiceRequest::GET_DELTACAST));
    const auto tree = api.ask(test::requestOfType(ApiToServiceRequest::GET_MONITORING_INFO));
    if (!state || !state->success() || !tree || !tree->success()) {
        return std::nullopt;
    }
    const auto& capture = state->GetExtension(ServiceToApiReplyGetDeltacast::base);
    const auto process =
        wellProcessIn(tree->GetExtension(ServiceToApiReplyGetMonitoringInfo::base).device_tree());
    if (capture.state() != ServiceToApiReplyGetDeltacast::RUNNING || !process) {
        return std::nullopt;
    }
    return Running{nameOf(capture.config()), *process};
}

std::vector<pid_t> Capture::processes() {
    std::vector<pid_t> ids;
    for (const auto& process : test::processesRunning(program)) {
        if (process.command.substr(0, process.command.find(' ')).ends_with(program)) {
            ids.push_back(process.id);
        }
    }
    return ids;
}

}  // namespace tarn::chaos
