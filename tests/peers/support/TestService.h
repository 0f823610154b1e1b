#pragma once

#include <memory>
#include <string>

#include "platform/resource_manager/ResourceManagerRequestHandler.h"
#include "platform/resource_manager/RunningJob.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::test {

/// The part of the service that a job meets: its resource manager, on an endpoint of its own.
class TestService {
  public:
    TestService();

    std::string resourcesEndpoint() const { return endpointText("resources"); }

    /// Text of an IPC endpoint in the service's own folder.
    std::string endpointText(const std::string& name) const;
    std::string pathOf(const std::string& name) const;
    const TemporaryFolder& folder() const { return files; }

    bool lists(const std::string& jobId) const;
    tarn::resource_manager::RunningJob job(const std::string& jobId) const;

    /// The resource manager goes away, and comes back knowing nothing.
    void stop();
    void startWithEmptyRegistry();

  private:
    TemporaryFolder files;
    int registries = 0;
    std::unique_ptr<tarn::resource_manager::ResourceManagerRequestHandler> handler;
};

}  // namespace tarn::test
