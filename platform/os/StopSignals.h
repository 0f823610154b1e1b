#pragma once

#include <signal.h>

#include "platform/os/SignalInput.h"

namespace tarn::os {

/// SIGINT and SIGTERM: what tells a program to end.
class StopSignals : public SignalInput {
  public:
    StopSignals() : SignalInput({SIGINT, SIGTERM}) {}
};

}  // namespace tarn::os
