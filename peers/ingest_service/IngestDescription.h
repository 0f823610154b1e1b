#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "peers/ingest_service/CaptureFormat.h"
#include "peers/ingest_service/ChannelList.h"

namespace tarn::device_tree {
class DeviceNode;
}

namespace tarn::peers::ingest_service {

/// How a channel is.
struct ChannelReport {
    Channel channel;
    std::string signal;      ///< "locked", "test picture" or "lost"
    std::string socketPath;  ///< where its frames can be read
    std::uint64_t captured = 0;
    std::uint64_t dropped = 0;
};

/// The process as the service knows it: its format and its id as properties, and a part for each
/// channel.
std::shared_ptr<device_tree::DeviceNode> describeIngest(pid_t process, const CaptureFormat& format,
                                                        const std::vector<ChannelReport>& reports);

}  // namespace tarn::peers::ingest_service
