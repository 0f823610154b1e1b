#pragma once

#include <signal.h>

namespace tarn::cli {

/// While it lives, Ctrl-C sets a flag instead of ending the process, so that a command that follows
/// a job can say that the job goes on. One at a time.
class Interrupt {
  public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    bool requested() const;

  private:
    struct sigaction previous {};
};

}  // namespace tarn::cli
