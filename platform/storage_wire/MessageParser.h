#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/storage_wire/Greeting.h"
#include "platform/storage_wire/MessageHeader.h"

namespace tarn::storage_wire {

/// What a peer sent is not this protocol. Nothing more can be read from it.
class WireError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Takes what a client sends, in pieces as they come, apart into its messages. Keeps at most one
/// message, and of that only the bytes that have come; payloads are handed on piece by piece.
///
///   Greeting -> Header -> Message -> [Payload] -> Header ...
class MessageParser {
  public:
    enum class Next { GoOn, Pause };

    /// Who gets the messages. What these throw comes out of `feed`.
    class Sink {
      public:
        virtual ~Sink() = default;
        virtual void takeGreeting() = 0;
        /// A whole message; `payloadSize` bytes of payload follow it.
        virtual Next takeMessage(std::string_view message, std::uint32_t payloadSize) = 0;
        /// The next piece of the payload, never empty; `isLast` with its end.
        virtual Next takePayload(std::string_view piece, bool isLast) = 0;
    };

    /// Returns how many of the bytes were used: all, or fewer when the sink wants a pause. Throws
    /// WireError for a bad greeting and for lengths above the limits.
    std::size_t feed(std::string_view bytes, Sink& sink);

    /// Whether the peer owes the rest of a greeting or of a message.
    bool isInside() const;

  private:
    enum class State { Greeting, Header, Message, Payload };

    std::size_t take(std::string_view bytes, Sink& sink, Next& next);
    std::size_t collect(std::string_view bytes, std::size_t wanted);
    void beginMessage();
    void endMessage();
    std::size_t passPayload(std::string_view bytes, Sink& sink, Next& next);

    State state = State::Greeting;
    std::string collected;
    MessageHeader header;
    std::uint32_t payloadLeft = 0;
};

}  // namespace tarn::storage_wire
