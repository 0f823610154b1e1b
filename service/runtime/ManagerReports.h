#pragma once

#include "platform/os/ServiceManager.h"

namespace tarn::service {

/// What the service manager is told of the service: that clients are answered, that the request
/// loop turns, that the service stops. A loop that does not turn any more has it replaced: jobs go
/// on, and the next one takes them over. What cannot be told is logged. Any thread; `alive` one.
class ManagerReports {
  public:
    explicit ManagerReports(os::ServiceManager manager);

    void ready() const;
    void alive();
    void stopping() const;

  private:
    os::ServiceManager manager;
};

/// Those of the process. The first call takes the manager out of the environment: before there are
/// threads.
ManagerReports& GetManagerReports();

}  // namespace tarn::service
