#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ssl/context.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "peers/loop_storage/server/ClientStream.h"
#include "peers/loop_storage/server/Handshake.h"
#include "platform/tls/CertifiedKey.h"
#include "platform/tls/PeerCheck.h"
#include "platform/utils/RepeatedFailure.h"

namespace tarn::peers::loop_storage {

/// The clients that show who they are at this moment, on the one thread of a context.
///
/// There are only so many places. Whoever comes when all are taken gets that of the one that came
/// first from the network that has most of them: who opens many connections and says nothing takes
/// places from himself alone.
class Handshakes {
  public:
    struct Limits {
        std::size_t atOnce = 32;
        std::chrono::milliseconds longest{5000};
    };
    using Known = std::function<void(ClientStream stream, const std::string& fingerprint)>;

    /// `thread` runs on one thread, on which `admits` and `known` are called, and all of this.
    /// Throws std::runtime_error for a key that cannot be used.
    Handshakes(boost::asio::io_context& thread, const tls::CertifiedKey& own,
               tls::PeerCheck::Admits admits, Known known, const Limits& limits);
    ~Handshakes();
    Handshakes(const Handshakes&) = delete;
    Handshakes& operator=(const Handshakes&) = delete;

    void begin(ClientStream::Socket socket);
    /// Ends those that are under way, and begins none any more.
    void stop();
    std::size_t count() const { return underWay.size(); }

  private:
    using UnderWay = std::list<std::shared_ptr<Handshake>>;

    void makeRoom();
    void ended(Handshake& one);

    boost::asio::io_context& thread;
    boost::asio::ssl::context tls;
    const tls::PeerCheck::Admits admits;
    const Known known;
    const Limits limits;
    UnderWay underWay;  // in the order in which they came
    enum class Door { Open, Closed } door = Door::Open;
    utils::RepeatedFailure refusals{utils::LogLevel::Warning};
};

}  // namespace tarn::peers::loop_storage
