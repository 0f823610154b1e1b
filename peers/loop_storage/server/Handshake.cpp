#include "peers/loop_storage/server/Handshake.h"

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/write.hpp>
#include <string_view>
#include <utility>

#include "peers/loop_storage/server/PeerName.h"
#include "platform/tls/TlsFailure.h"

namespace tarn::peers::loop_storage {

namespace {

namespace asio = boost::asio;

// A fatal alert of TLS 1.2, "protocol version". The library says nothing to who speaks no TLS.
constexpr std::string_view alert("\x15\x03\x03\x00\x02\x02\x46", 7);

// Of other categories the number means something else.
unsigned long codeOf(const boost::system::error_code& error) {
    return error.category() == asio::error::get_ssl_category()
               ? static_cast<unsigned long>(error.value())
               : 0;
}

}  // namespace

Handshake::Handshake(ClientStream::Socket socket, asio::ssl::context& tls,
                     tls::PeerCheck::Admits admits, asio::io_context& thread)
    : thread(thread),
      served(socket.get_executor()),
      check(std::move(admits)),
      stream(std::make_unique<ClientStream::Encrypted>(std::move(socket), tls)),
      peerName(peerNameOf(stream->next_layer().native_handle())),
      peerNetwork(peerNetworkOf(stream->next_layer().native_handle())),
      patience(thread) {
    check.watch(stream->native_handle());
}

void Handshake::start(std::chrono::milliseconds longest, Refused onRefused, Ended onEnded) {
    refused = std::move(onRefused);
    ended = std::move(onEnded);
    patience.expires_after(longest);
    patience.async_wait([self = shared_from_this()](const auto& error) {
        if (!error) {
            self->close();
        }
    });
    stream->async_handshake(
        asio::ssl::stream_base::server,
        asio::bind_executor(thread.get_executor(), [self = shared_from_this()](const auto& error) {
            self->shaken(error);
        }));
}

void Handshake::shaken(const boost::system::error_code& error) {
    if (state != State::Shaking) {
        return;
    }
    if (!error && check.finding() == tls::PeerCheck::Finding::Admitted) {
        check.forget(stream->native_handle());
        end(State::Done);
    } else {
        refuse(error);
    }
}

void Handshake::refuse(const boost::system::error_code& error) {
    state = State::Telling;
    refused(tls::textOfFailure(codeOf(error), check));
    if (tls::isOtherProtocol(codeOf(error))) {
        sayThatThisIsTls();
    } else {
        sayNoMore();
    }
}

void Handshake::sayThatThisIsTls() {
    asio::async_write(stream->next_layer(), asio::buffer(alert.data(), alert.size()),
                      asio::bind_executor(thread.get_executor(),
                                          [self = shared_from_this()](const auto&, std::size_t) {
                                              self->sayNoMore();
                                          }));
}

// Closed at once it would take back what it was told, were there anything of it not read.
void Handshake::sayNoMore() {
    boost::system::error_code withoutMeaning;
    stream->next_layer().shutdown(ClientStream::Socket::shutdown_send, withoutMeaning);
    drain();
}

void Handshake::drain() {
    if (state != State::Telling) {
        return;
    }
    stream->next_layer().async_read_some(
        asio::buffer(ignored),
        asio::bind_executor(thread.get_executor(),
                            [self = shared_from_this()](const auto& error, std::size_t) {
                                if (error) {
                                    self->close();
                                } else {
                                    self->drain();
                                }
                            }));
}

void Handshake::close() {
    if (state == State::Done || state == State::Closed) {
        return;
    }
    boost::system::error_code withoutMeaning;
    stream->next_layer().close(withoutMeaning);
    end(State::Closed);
}

void Handshake::end(State last) {
    state = last;
    patience.cancel();
    std::exchange(ended, {})(*this);
}

ClientStream Handshake::takeStream() {
    return ClientStream(std::move(stream));
}

}  // namespace tarn::peers::loop_storage
