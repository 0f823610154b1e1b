#pragma once

#include <sys/socket.h>
#include <sys/uio.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/os/Deadline.h"
#include "platform/os/FileDescriptor.h"
#include "platform/storage_client/connection/Credentials.h"

namespace tarn::tls {
class ClientChannel;
}

namespace tarn::storage_client {

using tarn::os::Deadline;
using tarn::os::FileDescriptor;

/// A connected socket whose every wait has an end. Failures are thrown as Failure.
class Stream {
  public:
    /// `descriptor` does not block; `peer` names the server in messages.
    Stream(os::FileDescriptor descriptor, std::string peer);
    ~Stream();
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    /// From here on all that goes through is encrypted. Before anything else does.
    void protect(const Protection& protection, const os::Deadline& deadline);

    /// All of the parts; their fields are used up.
    void send(std::vector<iovec> parts, const os::Deadline& deadline);
    /// Exactly `size` bytes. Descriptors that come with them are kept.
    void receive(char* bytes, std::size_t size, const os::Deadline& deadline);
    /// Whether something is there to receive (or the peer is gone) before the deadline.
    bool waitForInput(const os::Deadline& deadline);

    /// Those that have come, as they came, and no more than there can be.
    using Descriptors = std::vector<std::unique_ptr<os::FileDescriptor>>;
    Descriptors takeDescriptors() { return std::exchange(received, {}); }
    /// The peer has ended it, though what it had sent before may still be there.
    bool isEnded() const;

    /// Everything fails when nothing has been heard of the peer for so long.
    void endWithoutPeer(std::chrono::milliseconds bound) const;

    /// Says that nothing more will come, and waits until the peer has ended it too, or the
    /// deadline; what still comes is thrown away. Never throws.
    void finish(const os::Deadline& deadline) noexcept;

    /// From any thread: everything fails from now on, also what another thread waits for.
    void interrupt() const;

    const std::string& peer() const { return peerName; }

  private:
    bool waitFor(short events, const os::Deadline& deadline);
    void waitInTime(short events, const os::Deadline& deadline);
    ssize_t sendSome(const std::vector<iovec>& parts, std::size_t first);
    ssize_t sendEncrypted(const std::vector<iovec>& parts, std::size_t first);
    ssize_t receiveSome(char* bytes, std::size_t size);
    ssize_t receivePlain(char* bytes, std::size_t size);
    short eventsToSend() const;
    short eventsToReceive() const;
    std::string reasonOf(int error) const;
    void keepDescriptors(msghdr& message);
    [[noreturn]] void failTimeout() const;
    [[noreturn]] void failConnection(const std::string& reason) const;

    const os::FileDescriptor descriptor;
    const std::string peerName;
    std::unique_ptr<tls::ClientChannel> channel;  // null: bytes go as they are
    std::vector<char> gathered;                   // small parts that are encrypted as one
    Descriptors received;
};

}  // namespace tarn::storage_client
