#pragma once

namespace tarn::storage_wire {

/// Gives a connected socket room for a few frames, or as much as the system allows this process:
/// the fewer pieces a frame goes in, the less often the two sides wait for each other.
void makeSendBufferLarge(int socket);

}  // namespace tarn::storage_wire
