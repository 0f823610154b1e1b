#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <string>

#include "platform/tls/CertifiedKey.h"

namespace tarn::tls {

/// The client's side of a connection: encrypts what goes through a connected socket that does not
/// block, and decrypts what comes. Never waits, and never raises SIGPIPE. One thread at a time.
class ClientChannel {
  public:
    /// To the server whose certificate has this fingerprint, and to no other one. The socket is the
    /// caller's, and outlives this. Throws std::runtime_error.
    ClientChannel(int socket, const CertifiedKey& own, const std::string& serverFingerprint);
    ~ClientChannel();
    ClientChannel(const ClientChannel&) = delete;
    ClientChannel& operator=(const ClientChannel&) = delete;

    // As the system's calls: so many bytes, 0 at the end, -1 with errno; EAGAIN where the socket
    // has to be waited for as `events` says, EPROTO where `failure` says more. What could not be
    // written has to be written next.
    ssize_t handshake();  ///< 1 when it is done
    ssize_t write(const void* bytes, std::size_t size);
    ssize_t read(void* bytes, std::size_t size);

    /// What poll is to wait for before the same call is made again.
    short events() const { return wanted; }
    /// Whether bytes have been decrypted already, for which the socket need not be waited.
    bool hasInput() const;
    /// Of the server, as "it".
    const std::string& failure() const { return reason; }

  private:
    struct Library;
    ssize_t outcome(int result);

    const std::unique_ptr<Library> library;
    short wanted = 0;
    std::string reason;
};

}  // namespace tarn::tls
