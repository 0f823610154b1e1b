#pragma once

#include <boost/asio/error.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <memory>
#include <utility>

namespace tarn::peers::loop_storage {

/// The connection to a client: its bytes as they are, or within TLS. To be read and written as one
/// of the network library's own streams, on one strand, one reading and one writing at a time.
class ClientStream {
  public:
    using Socket = boost::asio::generic::stream_protocol::socket;
    using Encrypted = boost::asio::ssl::stream<Socket>;
    using executor_type = Socket::executor_type;

    ClientStream(Socket socket) : plain(std::move(socket)) {}
    /// After its handshake.
    explicit ClientStream(std::unique_ptr<Encrypted> stream)
        : plain(stream->get_executor()), encrypted(std::move(stream)) {}

    executor_type get_executor() { return plain.get_executor(); }
    /// For the system's calls: what goes through it by itself is not encrypted.
    Socket& socket() { return encrypted ? encrypted->next_layer() : plain; }
    const Socket& socket() const { return encrypted ? encrypted->next_layer() : plain; }

    template <typename Buffers, typename Handler>
    void async_read_some(const Buffers& buffers, Handler&& handler) {
        if (encrypted) {
            encrypted->async_read_some(buffers, std::forward<Handler>(handler));
        } else {
            plain.async_read_some(buffers, std::forward<Handler>(handler));
        }
    }

    template <typename Buffers, typename Handler>
    void async_write_some(const Buffers& buffers, Handler&& handler) {
        if (encrypted) {
            encrypted->async_write_some(buffers, std::forward<Handler>(handler));
        } else {
            plain.async_write_some(buffers, std::forward<Handler>(handler));
        }
    }

    /// What is there already, without waiting. Within TLS nothing: reading may have to send, which
    /// would meet a writing that is under way.
    template <typename Buffers>
    std::size_t read_some(const Buffers& buffers, boost::system::error_code& error) {
        if (encrypted) {
            error = boost::asio::error::would_block;
            return 0;
        }
        return plain.read_some(buffers, error);
    }

  private:
    Socket plain;  // closed where it is encrypted
    std::unique_ptr<Encrypted> encrypted;
};

}  // namespace tarn::peers::loop_storage
