#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace tarn::storage_wire {

/// The first bytes of a connection, from either side: a fixed text and the version of the protocol.
/// Whoever reads another text or version ends the connection.
inline constexpr std::size_t greetingSize = 12;
using Greeting = std::array<char, greetingSize>;

Greeting makeGreeting();

enum class GreetingCheck { Fits, OtherVersion, NoGreeting };

/// `bytes` are greetingSize long.
GreetingCheck checkGreeting(std::string_view bytes);

}  // namespace tarn::storage_wire
