#include "peers/loop_storage/server/CertifiedEntrance.h"

#include <fcntl.h>

#include <boost/asio/post.hpp>
#include <exception>
#include <memory>
#include <utility>

#include "platform/os/SignalsBlocked.h"
#include "platform/utils/Log.h"

namespace tarn::peers::loop_storage {

namespace {

namespace asio = boost::asio;

// Where nothing tells of changes, and where something does: a folder that was replaced tells of
// nothing any more.
constexpr std::chrono::seconds betweenLooks{1};
constexpr std::chrono::seconds betweenLooksIfTold{60};

}  // namespace

CertifiedEntrance::CertifiedEntrance(const tls::CertifiedKey& own, const std::string& clients,
                                     Enter onEnter, Changed onChanged,
                                     const Handshakes::Limits& limits)
    : enter(std::move(onEnter)),
      changed(std::move(onChanged)),
      stays(context.get_executor()),
      list(clients),
      watched(context),
      nextLook(context),
      handshakes(
          context, own,
          [this](const std::string& fingerprint) {
              look();  // who was taken out a moment ago does not get in
              return list.find(fingerprint).has_value();
          },
          [this](ClientStream stream, const std::string& fingerprint) {
              known(std::move(stream), fingerprint);
          },
          limits) {
    if (list.descriptor() >= 0) {
        watched.assign(::fcntl(list.descriptor(), F_DUPFD_CLOEXEC, 0));
        watch();
    }
    wakeUpLater();
    const os::SignalsBlocked blocked;
    thread = std::thread([this] { run(); });
}

CertifiedEntrance::~CertifiedEntrance() {
    context.stop();
    thread.join();
}

// What one handshake throws ends that one and no other.
void CertifiedEntrance::run() {
    for (;;) {
        try {
            context.run();
            return;
        } catch (const std::exception& failure) {
            utils::logError(std::string("A client cannot be let in: ") + failure.what());
        }
    }
}

void CertifiedEntrance::begin(ClientStream::Socket socket) {
    const auto served = asio::make_work_guard(socket.get_executor());
    const auto kept = std::make_shared<ClientStream::Socket>(std::move(socket));
    asio::post(context, [this, served, kept] { handshakes.begin(std::move(*kept)); });
}

void CertifiedEntrance::stop() {
    asio::post(context, [this] { handshakes.stop(); });
}

bool CertifiedEntrance::mayStay(const Certificate& certificate) const {
    const auto now = list.find(certificate.fingerprint);
    return now && now->isLike(certificate);
}

void CertifiedEntrance::watch() {
    watched.async_wait(asio::posix::descriptor_base::wait_read, [this](const auto& error) {
        if (!error) {
            look();
            watch();
        }
    });
}

void CertifiedEntrance::wakeUpLater() {
    nextLook.expires_after(list.descriptor() >= 0 ? betweenLooksIfTold : betweenLooks);
    nextLook.async_wait([this](const auto& error) {
        if (!error) {
            look();
            wakeUpLater();
        }
    });
}

void CertifiedEntrance::look() {
    if (list.refresh()) {
        changed(*this);
    }
}

void CertifiedEntrance::known(ClientStream stream, const std::string& fingerprint) {
    if (const auto certificate = list.find(fingerprint)) {
        enter(*this, std::move(stream), *certificate);
    }
}

}  // namespace tarn::peers::loop_storage
