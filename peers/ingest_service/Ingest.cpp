#include "peers/ingest_service/Ingest.h"

#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "peers/ingest_service/channel/SharedMemory.h"
#include "platform/device_tree/DeviceNode.h"

namespace tarn::peers::ingest_service {

namespace {

constexpr std::chrono::seconds betweenCounts{1};
constexpr std::string_view placeOfNumber = "%channel";

std::string textOf(SignalWatch::State signal) {
    switch (signal) {
        case SignalWatch::State::NoDevice:
            return "test picture";
        case SignalWatch::State::Waiting:
            return "waiting";
        case SignalWatch::State::Locked:
            return "locked";
        case SignalWatch::State::Lost:
            break;
    }
    return "lost";
}

DeviceSource sourceOf(const IngestOptions& options, unsigned number) {
    DeviceSource source{.text = options.source, .path = options.devicePrefix};
    if (!source.path.empty()) {
        source.path += std::to_string(number);
    }
    for (auto at = source.text.find(placeOfNumber); at != std::string::npos;
         at = source.text.find(placeOfNumber, at)) {
        source.text.replace(at, placeOfNumber.size(), std::to_string(number));
    }
    return source;
}

bool differInSignal(const ChannelReport& a, const ChannelReport& b) {
    return a.signal != b.signal || a.shown != b.shown || a.problem != b.problem;
}

}  // namespace

Ingest::Ingest(const IngestOptions& options) : options(options), record(options.socketPrefix) {
    startChannels();
}

void Ingest::startChannels() {
    const auto delays = delaysOf(options.channels);
    for (std::size_t i = 0; i < options.channels.size(); ++i) {
        const auto number = options.channels[i].number;
        channels.push_back(std::make_unique<CaptureChannel>(
            CaptureChannel::Settings{.format = options.format,
                                     .delay = delays[i],
                                     .socketPath = record.socketPath(number),
                                     .source = sourceOf(options, number),
                                     .substitute = options.substitute,
                                     .patience = options.patience}));
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

ChannelReport Ingest::reportOf(std::size_t index) {
    const auto state = channels[index]->report();
    return {.channel = options.channels[index],
            .signal = textOf(state.signal),
            .socketPath = channels[index]->getSettings().socketPath,
            .captured = state.captured,
            .dropped = state.dropped,
            .replaced = state.replaced,
            .losses = state.losses,
            .shown = state.shown,
            .problem = state.problem};
}

bool Ingest::isToBeRenewed(const std::vector<ChannelReport>& now) const {
    return !std::equal(now.begin(), now.end(), told.begin(), told.end(),
                       [](const auto& a, const auto& b) { return !differInSignal(a, b); });
}

std::shared_ptr<device_tree::DeviceNode> Ingest::sample(Time now) {
    std::vector<ChannelReport> reports;
    for (std::size_t i = 0; i < channels.size(); ++i) {
        reports.push_back(reportOf(i));
    }
    if (now - toldAt >= betweenCounts || isToBeRenewed(reports)) {
        told = std::move(reports);
        toldAt = now;
        noteResources();
    }
    return describeIngest(::getpid(), options.format, told);
}

}  // namespace tarn::peers::ingest_service
