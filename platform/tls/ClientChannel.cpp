#include "platform/tls/ClientChannel.h"

#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <stdexcept>

#include "platform/tls/Context.h"
#include "platform/tls/OpenSsl.h"
#include "platform/tls/PeerCheck.h"
#include "platform/tls/TlsFailure.h"

namespace tarn::tls {

namespace {

using OwnedContext = std::unique_ptr<SSL_CTX, FreeWith<SSL_CTX_free>>;
using Ssl = std::unique_ptr<SSL, FreeWith<SSL_free>>;
using Method = std::unique_ptr<BIO_METHOD, FreeWith<BIO_meth_free>>;

/// What the library reads from and writes to.
struct SocketEnd {
    int number = -1;
    enum class Input { Open, Ended } input = Input::Open;
};

SocketEnd& endOf(BIO* bio) {
    return *static_cast<SocketEnd*>(::BIO_get_data(bio));
}

int told(BIO* bio, ssize_t result, void (*retry)(BIO*)) {
    BIO_clear_retry_flags(bio);
    if (result < 0 && (errno == EAGAIN || errno == EINTR)) {
        retry(bio);
    }
    return static_cast<int>(result);
}

int sendThrough(BIO* bio, const char* bytes, int size) {
    const auto sent = ::send(endOf(bio).number, bytes, static_cast<std::size_t>(size),
                             MSG_NOSIGNAL | MSG_DONTWAIT);
    return told(bio, sent, [](BIO* it) { BIO_set_retry_write(it); });
}

int receiveThrough(BIO* bio, char* bytes, int size) {
    auto& end = endOf(bio);
    const auto got = ::recv(end.number, bytes, static_cast<std::size_t>(size), MSG_DONTWAIT);
    if (got == 0) {
        end.input = SocketEnd::Input::Ended;
    }
    return told(bio, got, [](BIO* it) { BIO_set_retry_read(it); });
}

// Without the word on the end the library would take errno for the reason, as an earlier call left
// it.
long control(BIO* bio, int command, long /*number*/, void* /*data*/) {
    if (command == BIO_CTRL_EOF) {
        return endOf(bio).input == SocketEnd::Input::Ended ? 1 : 0;
    }
    return command == BIO_CTRL_FLUSH ? 1 : 0;
}

// The library's own writes without MSG_NOSIGNAL.
BIO_METHOD* methodOfSockets() {
    static const Method method = [] {
        Method made(::BIO_meth_new(BIO_TYPE_SOURCE_SINK | ::BIO_get_new_index(), "socket"));
        if (made) {
            ::BIO_meth_set_write(made.get(), sendThrough);
            ::BIO_meth_set_read(made.get(), receiveThrough);
            ::BIO_meth_set_ctrl(made.get(), control);
        }
        return made;
    }();
    return method.get();
}

// Never one for which the caller would wait.
int finalError(int error) {
    return error == 0 || error == EAGAIN || error == EINTR ? ECONNRESET : error;
}

int bounded(std::size_t size) {
    return static_cast<int>(std::min<std::size_t>(size, INT_MAX));
}

}  // namespace

struct ClientChannel::Library {
    Library(int number, const CertifiedKey& own, const std::string& fingerprint)
        : socket{.number = number},
          server([fingerprint](const std::string& shown) { return shown == fingerprint; }),
          context(::SSL_CTX_new(::TLS_client_method())) {
        if (context) {
            setUp(context.get(), own);
            ssl.reset(::SSL_new(context.get()));
        }
        BIO* const bio = ::BIO_new(methodOfSockets());
        if (!ssl || bio == nullptr) {
            ::BIO_free(bio);
            throw std::runtime_error("cannot set up TLS: " + lastFailure());
        }
        ::BIO_set_data(bio, &socket);
        ::BIO_set_init(bio, 1);
        ::SSL_set_bio(ssl.get(), bio, bio);
        ::SSL_set_connect_state(ssl.get());
        server.watch(ssl.get());
    }

    SocketEnd socket;
    PeerCheck server;
    const OwnedContext context;
    Ssl ssl;
};

ClientChannel::ClientChannel(int socket, const CertifiedKey& own,
                             const std::string& serverFingerprint)
    : library(std::make_unique<Library>(socket, own, serverFingerprint)) {}

ClientChannel::~ClientChannel() = default;

ssize_t ClientChannel::handshake() {
    ::ERR_clear_error();
    return outcome(::SSL_do_handshake(library->ssl.get()));
}

ssize_t ClientChannel::write(const void* bytes, std::size_t size) {
    ::ERR_clear_error();
    return outcome(::SSL_write(library->ssl.get(), bytes, bounded(size)));
}

ssize_t ClientChannel::read(void* bytes, std::size_t size) {
    ::ERR_clear_error();
    return outcome(::SSL_read(library->ssl.get(), bytes, bounded(size)));
}

bool ClientChannel::hasInput() const {
    return ::SSL_pending(library->ssl.get()) > 0;
}

// Lengths stand in front of every message: an end without the words for it is an end like another.
ssize_t ClientChannel::outcome(int result) {
    const int systemError = errno;
    switch (result > 0 ? SSL_ERROR_NONE : ::SSL_get_error(library->ssl.get(), result)) {
        case SSL_ERROR_NONE:
            return result;
        case SSL_ERROR_WANT_READ:
            wanted = POLLIN;
            errno = EAGAIN;
            return -1;
        case SSL_ERROR_WANT_WRITE:
            wanted = POLLOUT;
            errno = EAGAIN;
            return -1;
        case SSL_ERROR_ZERO_RETURN:
            return 0;
        case SSL_ERROR_SYSCALL:
            errno = finalError(systemError);
            return -1;
        default:
            break;
    }
    reason = textOfFailure(::ERR_peek_error(), library->server);
    ::ERR_clear_error();
    errno = EPROTO;
    return -1;
}

}  // namespace tarn::tls
