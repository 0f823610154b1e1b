#pragma once

#include <memory>
#include <stop_token>
#include <string>

#include "service/devices/ControllerThread.h"
#include "service/devices/DeviceController.h"
#include "service/devices/DevicePublisher.h"
#include "service/devices/Pause.h"

namespace tarn::service::devices {

/// The processor load of this machine as a device "CPU": the share of busy time, sampled once a
/// second.
///
/// When the counters cannot be read the device leaves the tree until they can be read again; when
/// they cannot at the very first time, the thread ends.
class CpuDeviceController : public DeviceController {
  public:
    explicit CpuDeviceController(std::string statFile = "/proc/stat", Pause pause = realPause);
    ~CpuDeviceController() override;  ///< stops

    std::string messageHeader() const override;
    void stop() override;

    /// Stops a thread that runs already.
    void startPollingThread();
    /// At once, whatever pause the thread is in.
    void stopPollingThread();

    /// The sums since the machine started, in jiffies. False when the file cannot be opened.
    bool getCurrentJiffies(double& busy, double& total) const;

    /// What the thread does.
    void pollingThreadFunction(const std::stop_token& stop);

  private:
    void sample();
    void updateDeviceTree(const std::shared_ptr<device_tree::DeviceNode>& node);

    const std::string statFile;
    const Pause pause;
    // The polling thread's own:
    DevicePublisher publisher;
    double previousBusy = 0;
    double previousTotal = 0;

    ControllerThread pollingThread;  // last: it uses the others
};

}  // namespace tarn::service::devices
