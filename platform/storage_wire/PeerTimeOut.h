#pragma once

#include <chrono>

namespace tarn::storage_wire {

/// Makes a connected TCP socket fail when its peer has given no sign of life for `bound`, whether
/// something is on its way or nothing is: a machine that lost its power, or a cable that was
/// pulled, ends a connection no other way. A peer that lives and for so long takes nothing of what
/// waits for it counts as gone as well. Bounds below 2 s count as 2 s, since the system asks for
/// signs of life in whole seconds. Other sockets stay as they are: their peers cannot go unnoticed.
void endWithoutPeer(int socket, std::chrono::milliseconds bound);

}  // namespace tarn::storage_wire
