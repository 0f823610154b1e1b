#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "platform/os/FileDescriptor.h"

namespace google::protobuf {
class MessageLite;
}

namespace tarn::peers {

/// Protobuf messages over one end of a stream socket pair: four bytes of length, lowest first, then
/// the message. One thread at a time.
class MessageChannel {
  public:
    /// What one end may receive: a pipeline's text may be long, reports are not.
    static constexpr std::size_t maxCommandBytes = std::size_t{12} << 20;
    static constexpr std::size_t maxReportBytes = std::size_t{256} << 10;

    /// Where the pipeline process finds its end.
    static constexpr int pipelineDescriptor = 3;

    enum class Input { Open, Closed };

    /// Two connected ends that are not inherited by programs that are started. Throws
    /// std::system_error.
    static std::pair<os::FileDescriptor, os::FileDescriptor> makePair();

    /// Incoming messages over `maxBytes` are refused.
    MessageChannel(os::FileDescriptor end, std::size_t maxBytes);

    /// Throws std::runtime_error when the other end is closed, or has taken nothing for 5 seconds.
    void send(const google::protobuf::MessageLite& message);

    /// Takes what has arrived, without waiting. Closed when the other end has gone and all that it
    /// sent was taken.
    Input read();

    /// The next whole message of what was taken; false when there is none. Throws
    /// std::runtime_error for a message that is too large or does not parse: nothing after it can
    /// be understood.
    bool next(google::protobuf::MessageLite& message);

    /// For poll: readable when `read` has something to do.
    int descriptor() const { return end.get(); }

  private:
    os::FileDescriptor end;
    const std::size_t maxBytes;
    std::string received;
    std::size_t handedOut = 0;  // so much of its beginning
};

}  // namespace tarn::peers
