#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/socket/Socket.h"
#include "tests/gateway/Batches.h"
#include "tests/support/Process.h"

namespace tarn::test {

/// Who listens to a gateway.
class Subscriber {
  public:
    explicit Subscriber(const std::string& endpoint);

    /// The next batch; fails the test, and gives an empty one, when none comes. Fillers are left
    /// out.
    ServiceEventBatch next();

    /// Nothing when none comes within this time.
    std::optional<ServiceEventBatch> poll(std::uint32_t boundMs);

  private:
    std::unique_ptr<socket::Socket> socket;
};

/// The built gateway on endpoints of its own, and the service's end of it.
class GatewayBed : public testing::Test {
  protected:
    GatewayBed();
    ~GatewayBed() override;

    /// Returns when it can be reached.
    void startGateway();
    /// Ends it and gives its status.
    int stopGateway(int signal);
    Process& gateway() { return *program; }

    /// The service's end is closed and opened again.
    void restartService();

    /// As the service sends.
    void send(const ServiceEventBatch& batch);
    void sendBytes(const std::string& bytes);

    const std::string events;
    const std::string published = events + ".pub";
    const std::string requests = events + ".requests";

  private:
    std::unique_ptr<Process> program;
    std::unique_ptr<socket::Socket> service;
};

}  // namespace tarn::test
