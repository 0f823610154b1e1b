#pragma once

#include <openssl/ssl.h>

#include <functional>
#include <string>
#include <utility>

namespace tarn::tls {

/// Looks whom the other end of a connection shows itself to be, by the fingerprint of its
/// certificate, and whether it is spoken to. One connection's; one thread at a time.
class PeerCheck {
  public:
    /// Called on the thread of the handshake.
    using Admits = std::function<bool(const std::string& fingerprint)>;
    enum class Finding { NothingShown, Admitted, NotKnown, NotYetValid, Expired };

    explicit PeerCheck(Admits admits) : admits(std::move(admits)) {}
    PeerCheck(const PeerCheck&) = delete;
    PeerCheck& operator=(const PeerCheck&) = delete;

    /// Of a connection whose context is one of setUp, which knows nobody without. Before the
    /// handshake; outlives the connection, or has to forget it.
    void watch(SSL* connection);
    static void forget(SSL* connection);

    /// The peer has also proved that it has the certificate's key once the handshake is done.
    Finding finding() const { return found; }
    /// What it has shown, known or not; empty: nothing.
    const std::string& fingerprint() const { return shown; }

    /// For the context: what it found, as the library counts errors of certificates.
    static int look(SSL* connection, const X509* certificate);

  private:
    Finding findingOf(const X509* certificate) const;

    const Admits admits;
    std::string shown;
    Finding found = Finding::NothingShown;
};

}  // namespace tarn::tls
