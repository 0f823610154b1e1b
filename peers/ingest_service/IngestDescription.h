#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "peers/ingest_service/channel/CaptureFormat.h"
#include "peers/ingest_service/channel/ChannelList.h"

namespace tarn::device_tree {
class DeviceNode;
}

namespace tarn::peers::ingest_service {

/// How a channel is.
struct ChannelReport {
    Channel channel;
    std::string signal;  ///< "locked", "waiting", "lost", or "test picture" without a device
    std::string socketPath = {};  ///< where its frames can be read
    std::uint64_t captured = 0;
    std::uint64_t dropped = 0;
    std::uint64_t replaced = 0;
    std::uint64_t losses = 0;
    std::string shown = {};    ///< what readers get
    std::string problem = {};  ///< why the signal is lost
};

/// The process as the service knows it: its format and its id as properties, and a part for each
/// channel. It is as well as the worst of them.
std::shared_ptr<device_tree::DeviceNode> describeIngest(pid_t process, const CaptureFormat& format,
                                                        const std::vector<ChannelReport>& reports);

}  // namespace tarn::peers::ingest_service
