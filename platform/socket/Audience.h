#pragma once

#include <cstdint>

namespace tarn::socket {

/// Whom the file of a bound IPC socket is for.
enum class Audience : std::uint8_t {
    OwnPrograms,  ///< programs of this process's user; mode 0600
    Clients,      ///< also the members of `groupOfClients`; mode 0660
};

/// Who may reach the endpoints that are for clients. What they may do there is another question.
inline constexpr const char* groupOfClients = "tarn-read";

}  // namespace tarn::socket
