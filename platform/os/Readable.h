#pragma once

#include "platform/os/Deadline.h"

namespace tarn::os {

/// Waits until the descriptor can be read, or its other end is gone; false when the deadline passed
/// first. Signals do not end it. -1 is never readable.
bool becomesReadable(int descriptor, const Deadline& deadline);

}  // namespace tarn::os
