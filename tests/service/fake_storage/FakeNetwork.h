#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace tarn::test {

class FakeStorage;

/// Which fake storage is reached where. Thread-safe.
class FakeNetwork {
  public:
    /// A port of 0 is for the path of a Unix socket.
    static std::string place(const std::string& address, std::uint16_t port);

    static void enter(const std::string& place, FakeStorage& storage);
    static void leave(const std::string& place);

    /// Null when nobody is there. A storage must not leave while somebody is connected with it.
    static FakeStorage* find(const std::string& place);
};

}  // namespace tarn::test
