#pragma once

#include <cstdint>
#include <string>
#include <thread>

namespace tarn::test {

/// Takes one client on a port of its own, sends it these bytes and nothing else, and holds the
/// connection until the end.
class FakeServer {
  public:
    explicit FakeServer(std::string bytes);
    ~FakeServer();
    FakeServer(const FakeServer&) = delete;
    FakeServer& operator=(const FakeServer&) = delete;

    std::uint16_t port() const { return number; }

  private:
    void serve();

    const std::string bytes;
    int listener = -1;
    int client = -1;
    std::uint16_t number = 0;
    std::thread thread;
};

}  // namespace tarn::test
