#pragma once

#include <string>

namespace tarn::socket {

/// Makes sure that a socket may be bound on `path`: nothing is there, or the socket file of
/// somebody who is gone. Throws std::runtime_error, without the path in it, for a file of another
/// kind (which the messaging library would delete) and for a socket on which somebody listens
/// (which it would take away).
void checkIpcPathIsFree(const std::string& path);

}  // namespace tarn::socket
