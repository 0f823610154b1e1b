#pragma once

#include <functional>

#include "platform/os/FileDescriptor.h"

namespace tarn::test {

/// Another machine, as far as the network can tell, with a cable from here to there. For tests that
/// have a network of their own (scripts/in-private-namespace); one at a time. What goes wrong is
/// thrown.
class FarMachine {
  public:
    FarMachine();
    ~FarMachine();
    FarMachine(const FarMachine&) = delete;
    FarMachine& operator=(const FarMachine&) = delete;

    /// Runs there. A socket that it makes stays there, whoever uses it then.
    void run(const std::function<void()>& work) const;

    /// From then on nothing that is sent arrives, and nobody is told.
    void pullTheCable() const;

    static constexpr auto addressHere = "10.77.0.1";

  private:
    const os::FileDescriptor network;
};

}  // namespace tarn::test
