#pragma once

#include <memory>
#include <string>
#include <vector>

#include "peers/ingest_service/CaptureChannel.h"
#include "peers/ingest_service/IngestOptions.h"
#include "peers/ingest_service/RunRecord.h"

namespace tarn::device_tree {
class DeviceNode;
}

namespace tarn::peers::ingest_service {

/// All channels, and the record of what they have on the machine. One thread at a time.
class Ingest {
  public:
    /// Captures when this returns. Throws std::runtime_error; then nothing is left.
    explicit Ingest(const IngestOptions& options);

    /// Looks after the channels, and describes them.
    std::shared_ptr<device_tree::DeviceNode> sample(CaptureChannel::Time now);

  private:
    void startChannels();
    void noteResources();

    const IngestOptions options;
    RunRecord record;  // before the channels: it goes after them
    std::vector<std::unique_ptr<CaptureChannel>> channels;
    std::vector<std::string> noted;
};

}  // namespace tarn::peers::ingest_service
