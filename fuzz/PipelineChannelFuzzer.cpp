// What comes from the process that runs a pipeline, which may be anything once a codec has been
// taken over: whatever the bytes are, and in whatever pieces they come, they are refused or are
// reports, and the same ones.

#include <sys/socket.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "fuzz/inputs.pb.h"
#include "fuzz/support/MessageMutator.h"
#include "fuzz/support/Require.h"
#include "peers/pipeline_channel/MessageChannel.h"

namespace {

using tarn::fuzz::ChannelBytes;
using tarn::fuzz::require;
using tarn::peers::MessageChannel;
using tarn::proto::pipeline_control::PipelineReport;

constexpr std::size_t largestPiece = 100000;  // fits into a socket

std::string framed(const PipelineReport& report) {
    const auto message = report.SerializePartialAsString();
    std::string frame;
    for (unsigned i = 0; i < 4; ++i) {
        frame += static_cast<char>((message.size() >> (8 * i)) & 0xFFU);
    }
    return frame + message;
}

/// All reports, each on a line; and how it ended.
std::string receive(std::string_view bytes, std::size_t piece) {
    auto [near, far] = MessageChannel::makePair();
    MessageChannel channel(std::move(near), MessageChannel::maxReportBytes);
    std::string told;
    try {
        while (!bytes.empty()) {
            const auto sent = ::send(far.get(), bytes.data(), std::min(piece, bytes.size()), 0);
            require(sent > 0);
            bytes.remove_prefix(static_cast<std::size_t>(sent));
            require(channel.read() == MessageChannel::Input::Open);
            for (PipelineReport report; channel.next(report);) {
                told += framed(report) + "\n";
            }
        }
        far = {};
        require(channel.read() == MessageChannel::Input::Closed);
    } catch (const std::runtime_error& refusal) {
        told += refusal.what();
    }
    return told;
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t mostBytes, unsigned seed) {
    ChannelBytes input;
    return tarn::fuzz::mutateBytes(input, data, size, mostBytes, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ChannelBytes input;
    input.ParsePartialFromArray(data, static_cast<int>(size));
    std::string bytes;
    for (const auto& report : input.report()) {
        bytes += framed(report);
    }
    bytes += input.raw();
    const std::size_t piece = 1 + input.piece() % 64;
    require(receive(bytes, largestPiece) == receive(bytes, piece));
    return 0;
}
