#include "peers/ingest_service/Ingest.h"

#include <unistd.h>

#include <algorithm>

#include "peers/ingest_service/IngestDescription.h"
#include "peers/ingest_service/SharedMemory.h"
#include "platform/device_tree/DeviceNode.h"

namespace tarn::peers::ingest_service {

namespace {

std::string textOf(CaptureChannel::Signal signal) {
    switch (signal) {
        case CaptureChannel::Signal::Device:
            return "locked";
        case CaptureChannel::Signal::TestPicture:
            return "test picture";
        case CaptureChannel::Signal::Lost:
            break;
    }
    return "lost";
}

}  // namespace

Ingest::Ingest(const IngestOptions& options) : options(options), record(options.socketPrefix) {
    startChannels();
}

void Ingest::startChannels() {
    const auto delays = delaysOf(options.channels);
    for (std::size_t i = 0; i < options.channels.size(); ++i) {
        const auto number = options.channels[i].number;
        const auto device = options.devicePrefix.empty()
                                ? std::string()
                                : options.devicePrefix + std::to_string(number);
        channels.push_back(std::make_unique<CaptureChannel>(CaptureChannel::Settings{
            options.format, delays[i], record.socketPath(number), device}));
    }
    noteResources();
}

// A channel that came back has other memory than before.
void Ingest::noteResources() {
    auto memory = ownSharedMemory();
    std::sort(memory.begin(), memory.end());
    if (memory == noted) {
        return;
    }
    std::vector<std::string> sockets;
    for (const auto& channel : channels) {
        sockets.push_back(channel->getSettings().socketPath);
    }
    record.note(sockets);
    noted = std::move(memory);
}

std::shared_ptr<device_tree::DeviceNode> Ingest::sample(CaptureChannel::Time now) {
    std::vector<ChannelReport> reports;
    for (std::size_t i = 0; i < channels.size(); ++i) {
        auto& channel = *channels[i];
        channel.watch(now);
        reports.push_back({options.channels[i], textOf(channel.signal()),
                           channel.getSettings().socketPath, channel.frames().captured(),
                           channel.frames().dropped()});
    }
    noteResources();
    return describeIngest(::getpid(), options.format, reports);
}

}  // namespace tarn::peers::ingest_service
