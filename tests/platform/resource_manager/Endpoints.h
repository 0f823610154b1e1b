#pragma once

#include "platform/socket/SocketEndpoint.h"

namespace tarn::resource_manager::test {

/// An endpoint that nobody else uses.
tarn::socket::SocketEndpoint freshIpcEndpoint();

/// "tcp://*:<port>" with a port that was free a moment ago.
tarn::socket::SocketEndpoint freshTcpEndpoint();

}  // namespace tarn::resource_manager::test
