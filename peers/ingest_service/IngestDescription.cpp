#include "peers/ingest_service/IngestDescription.h"

#include "platform/device_tree/DeviceNode.h"

namespace tarn::peers::ingest_service {

using device_tree::DeviceClass;
using device_tree::DeviceNode;
using device_tree::GlobalStatus;
using device_tree::NamedStatus;

namespace {

constexpr auto programName = "KLN-SDI-Ingest-Service";

void addProperty(DeviceNode& node, const std::string& name, const std::string& value) {
    node.addProperty({name, device_tree::Property::Type::Text, value});
}

void append(std::string& list, const std::string& word) {
    list += (list.empty() ? "" : " ") + word;
}

GlobalStatus healthOf(const ChannelReport& report) {
    if (report.signal == "lost") {
        return {GlobalStatus::Level::Error,
                "no signal" + (report.problem.empty() ? "" : ": " + report.problem)};
    }
    if (report.signal == "waiting") {
        return {GlobalStatus::Level::Warning, "no frame has come yet"};
    }
    return {GlobalStatus::Level::Ok, ""};
}

GlobalStatus healthOf(const std::vector<ChannelReport>& reports) {
    GlobalStatus worst(GlobalStatus::Level::Ok, "");
    for (const auto& report : reports) {
        const auto health = healthOf(report);
        if (health.level > worst.level) {
            worst = {health.level, "channel " + std::to_string(report.channel.number) + ": " +
                                       health.description};
        }
    }
    return worst;
}

std::shared_ptr<DeviceNode> describe(const ChannelReport& report, const CaptureFormat& format) {
    const auto number = std::to_string(report.channel.number);
    auto node = std::make_shared<DeviceNode>(std::string(programName) + ".channel." + number,
                                             "Channel " + number, DeviceClass::Capture);
    node->setGlobalStatus(healthOf(report));
    addProperty(*node, "SocketPath", report.socketPath);
    addProperty(*node, "Caps", capsOf(format));
    node->addStatus(NamedStatus("SignalState", report.signal));
    node->addStatus(NamedStatus("FramesCaptured", report.captured));
    node->addStatus(NamedStatus("Shown", report.shown));
    node->addStatus(NamedStatus("FramesDropped", report.dropped));
    node->addStatus(NamedStatus("FramesReplaced", report.replaced));
    node->addStatus(NamedStatus("SignalLosses", report.losses));
    return node;
}

}  // namespace

std::shared_ptr<DeviceNode> describeIngest(pid_t process, const CaptureFormat& format,
                                           const std::vector<ChannelReport>& reports) {
    auto node = std::make_shared<DeviceNode>(programName, programName, DeviceClass::Capture);
    node->setGlobalStatus(healthOf(reports));
    std::string channels;
    std::string offsets;
    for (const auto& report : reports) {
        append(channels, std::to_string(report.channel.number));
        append(offsets, std::to_string(report.channel.frameOffset));
        std::string error;
        node->addSubDevice(describe(report, format), /*replace=*/true, error);
    }
    addProperty(*node, "PID", std::to_string(process));
    addProperty(*node, "PixelFormat", format.pixelFormat);
    addProperty(*node, "LineCount", std::to_string(format.lineCount));
    addProperty(*node, "FieldMode", format.fieldMode);
    addProperty(*node, "FrameRate", std::to_string(format.frameRate));
    addProperty(*node, "ChannelList", channels);
    addProperty(*node, "ChannelFrameOffset", offsets);
    return node;
}

}  // namespace tarn::peers::ingest_service
