#pragma once

#include <string>

namespace tarn::test {

/// A local socket that takes datagrams, as a service manager has one. Throws std::system_error.
class DatagramReceiver {
  public:
    explicit DatagramReceiver(const std::string& path);
    ~DatagramReceiver();
    DatagramReceiver(const DatagramReceiver&) = delete;
    DatagramReceiver& operator=(const DatagramReceiver&) = delete;

    /// The next one; empty when none comes within 20 s.
    std::string next() const;

  private:
    const int number;
};

}  // namespace tarn::test
