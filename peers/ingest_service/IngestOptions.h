#pragma once

#include <optional>
#include <string>
#include <vector>

#include "peers/device/DeviceOptions.h"
#include "peers/ingest_service/channel/CaptureFormat.h"
#include "peers/ingest_service/channel/ChannelList.h"
#include "peers/ingest_service/channel/Substitute.h"

namespace CLI {
class App;
}
namespace tarn::program {
class CommandLine;
}

namespace tarn::peers::ingest_service {

/// What is captured, as the service fills it into the command line.
struct CaptureOrder {
    CaptureFormat format;
    std::string inputList = "0";
    std::string frameOffsets = "0";
};

/// Adds an option, which may also be given by its place alone, for each of them.
void addCaptureOptions(CLI::App& app, CaptureOrder& order);

struct IngestOptions {
    CaptureFormat format;
    std::vector<Channel> channels;
    DeviceEndpoints endpoints;
    std::string socketPrefix = "/tmp/KLN-SDI-Ingest-Service";
    std::string devicePrefix = "/dev/video";  ///< empty: no device is looked for
    std::string source;  ///< elements of the media library in the place of a device; empty: none
    Substitute substitute = Substitute::Bars;
    unsigned patience = 25;  ///< so many frame times without a frame are a lost signal
};

/// Nothing when the program is to end at once. A format that does not exist is a usage error.
std::optional<IngestOptions> parseIngestOptions(program::CommandLine& line);

}  // namespace tarn::peers::ingest_service
