#pragma once

#include <string>

#include "tests/support/ForkedProcess.h"

namespace tarn::benchmarks {

/// A process of its own that is the devices at these endpoints: each describes itself as a device
/// with nine sub-devices.
class DeviceProcess {
  public:
    enum class Kind { Polled, SendsEvents };

    /// The endpoints are those of `device(0)` to `device(count - 1)`. Make it before any thread of
    /// this process exists.
    DeviceProcess(int count, Kind kind);
    ~DeviceProcess();

    static std::string endpointOf(int device);
    /// Where the service listens once it has seen a device that sends events.
    static std::string eventEndpointOf(int device);

  private:
    const int count;
    const test::ForkedProcess process;
};

}  // namespace tarn::benchmarks
