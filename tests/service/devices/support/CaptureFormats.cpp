#include "tests/service/devices/support/CaptureFormats.h"

namespace tarn::test {

namespace {

void addInput(DeltacastConfig& config, std::uint32_t channel, std::int32_t offset) {
    auto& input = *config.add_inputs();
    input.set_channel(channel);
    input.set_frame_offset(offset);
}

}  // namespace

DeltacastConfig progressive720() {
    DeltacastConfig config;
    config.set_pixel_format(DeltacastConfig::RGB24);
    config.set_line_count(DeltacastConfig::LINES_720);
    config.set_field_mode(DeltacastConfig::PROGRESSIVE);
    config.set_frame_rate(DeltacastConfig::RATE_50);
    addInput(config, 1, 0);
    addInput(config, 2, -1);
    return config;
}

DeltacastConfig progressive720At60() {
    auto config = progressive720();
    config.set_frame_rate(DeltacastConfig::RATE_60);
    return config;
}

device_tree::DeviceNode ingestNode(const std::string& pid) {
    device_tree::DeviceNode node("ingest", "ingest", device_tree::DeviceClass::Capture);
    const auto add = [&](const std::string& name, const std::string& value) {
        node.addProperty({name, device_tree::Property::Type::Text, value});
    };
    add("PID", pid);
    add("PixelFormat", "rgb24");
    add("LineCount", "720");
    add("FieldMode", "p");
    add("FrameRate", "50");
    add("ChannelList", "1 2 ");
    add("ChannelFrameOffset", "0 -1 ");
    return node;
}

}  // namespace tarn::test
