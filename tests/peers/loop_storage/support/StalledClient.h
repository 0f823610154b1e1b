#pragma once

#include <chrono>
#include <string>

namespace tarn::test {

/// Connects, sends these bytes, and then receives nothing, and sends what it is told to.
class StalledClient {
  public:
    StalledClient(const std::string& socketPath, const std::string& bytes);
    ~StalledClient();
    StalledClient(const StalledClient&) = delete;
    StalledClient& operator=(const StalledClient&) = delete;

    void send(const std::string& bytes) const;
    /// Whether the server has closed the connection within the bound.
    bool waitForEnd(std::chrono::milliseconds bound) const;

  private:
    int number;
};

}  // namespace tarn::test
