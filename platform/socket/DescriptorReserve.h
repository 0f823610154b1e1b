#pragma once

#include <cstdint>

namespace tarn::socket {

/// The file descriptors that no client gets: what the process needs to answer those that are in, to
/// log, and to launch.
///
/// Connections are accepted by a thread of the messaging library. When no descriptor is left it
/// ends the process (IPC) or tries again without a pause (TCP); and it cannot be told to stop
/// accepting, since unbinding also ends the connections that are in. So accepting itself is done
/// here, for the whole process: whoever comes when 64 descriptors are left is turned away at once,
/// and let in when he tries again after somebody has left. With a limit below 256 it is a quarter
/// of the limit.
///
/// Any thread.
class DescriptorReserve {
  public:
    /// Says how many were turned away since the last time, in one line every ten seconds at most.
    /// Done for each that is turned away; whoever listens calls it too, for those after the last
    /// line.
    static void Report();

    /// Whether a descriptor is one of the last ones; whether the next one would be. For who accepts
    /// his clients without the messaging library.
    static bool Holds(int descriptor);
    static bool IsReached();

    /// How many descriptors there are for all clients together.
    static std::uint64_t ForClients();
};

}  // namespace tarn::socket
