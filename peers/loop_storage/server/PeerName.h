#pragma once

#include <string>

namespace tarn::peers::loop_storage {

/// Where the other end of a connected socket is, for people: "192.168.1.5:40312", "[::1]:40312" or
/// "process 1234" for one on this machine. Empty when the system does not tell.
std::string peerNameOf(int socket);

}  // namespace tarn::peers::loop_storage
