#pragma once

#include <cstddef>

#include "platform/socket/visitors/Visitors.h"

namespace tarn::socket {

/// Those of this process. The messaging library tells nothing of the bytes that it holds, so its
/// `recv` and `send` are done here, for the whole process: a connection that brings more than its
/// visitor may have waiting is at its end. Any thread; never destroyed.
Visitors& processVisitors();

/// What a frame of that size counts for, when somebody has looked at it: small ones cost more
/// memory than they have bytes.
std::uint64_t weightOfFrame(std::size_t size);

}  // namespace tarn::socket
