#pragma once

#include <string>

namespace tarn::peers::loop_storage {

/// Where the other end of a connected socket is, for people: "192.168.1.5:40312", "[::1]:40312" or
/// "process 1234" for one on this machine. Empty when the system does not tell.
std::string peerNameOf(int socket);

/// What one who opens many connections has in common in all of them: his address, or of one of IPv6
/// the half that names his network. Bytes, not for people; empty when the system does not tell.
std::string peerNetworkOf(int socket);

}  // namespace tarn::peers::loop_storage
