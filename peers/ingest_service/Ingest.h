#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "peers/ingest_service/IngestDescription.h"
#include "peers/ingest_service/IngestOptions.h"
#include "peers/ingest_service/RunRecord.h"
#include "peers/ingest_service/channel/CaptureChannel.h"

namespace tarn::device_tree {
class DeviceNode;
}

namespace tarn::peers::ingest_service {

/// All channels, and the record of what they have on the machine. One thread at a time.
class Ingest {
  public:
    /// Captures when this returns. Throws std::runtime_error; then nothing is left.
    explicit Ingest(const IngestOptions& options);

    /// Describes the channels. What has changed but the counts of their frames is in it at once;
    /// those are renewed once a second.
    using Time = std::chrono::steady_clock::time_point;
    std::shared_ptr<device_tree::DeviceNode> sample(Time now);

  private:
    void startChannels();
    ChannelReport reportOf(std::size_t index);
    bool isToBeRenewed(const std::vector<ChannelReport>& now) const;
    void noteResources();

    const IngestOptions options;
    RunRecord record;  // before the channels: it goes after them
    std::vector<std::unique_ptr<CaptureChannel>> channels;
    std::vector<std::string> noted;
    std::vector<ChannelReport> told;
    Time toldAt{};
};

}  // namespace tarn::peers::ingest_service
