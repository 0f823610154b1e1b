#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <string>
#include <thread>

#include "peers/loop_storage/server/ClientStream.h"
#include "peers/loop_storage/server/Handshakes.h"
#include "platform/access/ClientCertificates.h"
#include "platform/tls/CertifiedKey.h"

namespace tarn::peers::loop_storage {

/// Where clients over TCP come in by their certificates, which stand in a file. Has a thread of its
/// own, so that what strangers have it compute takes nothing from those who are served.
class CertifiedEntrance {
  public:
    using Certificate = access::ClientCertificate;
    /// One who may come in.
    using Enter = std::function<void(const CertifiedEntrance& entrance, ClientStream stream,
                                     const Certificate& certificate)>;
    /// The file has changed: who may not stay as who he is has to go.
    using Changed = std::function<void(const CertifiedEntrance& entrance)>;

    /// `clients` is the file. Both functions are called on the entrance's thread, and never after
    /// it is destroyed. Throws std::runtime_error for a key that cannot be used.
    CertifiedEntrance(const tls::CertifiedKey& own, const std::string& clients, Enter enter,
                      Changed changed, const Handshakes::Limits& limits = {});
    ~CertifiedEntrance();
    CertifiedEntrance(const CertifiedEntrance&) = delete;
    CertifiedEntrance& operator=(const CertifiedEntrance&) = delete;

    // Any thread.
    void begin(ClientStream::Socket socket);
    void stop();
    /// Whether the file says the same of him now.
    bool mayStay(const Certificate& certificate) const;

  private:
    void run();
    void watch();
    void wakeUpLater();
    void look();
    void known(ClientStream stream, const std::string& fingerprint);

    const Enter enter;
    const Changed changed;
    boost::asio::io_context context{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> stays;
    access::ClientCertificates list;
    boost::asio::posix::stream_descriptor watched;
    boost::asio::steady_timer nextLook;
    Handshakes handshakes;
    std::thread thread;
};

}  // namespace tarn::peers::loop_storage
