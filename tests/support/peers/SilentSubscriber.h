#pragma once

#include <cstddef>
#include <string>

namespace tarn::test {

/// Subscribes to everything at an IPC endpoint, by the bytes of the messaging protocol, and then
/// reads nothing: what it is sent stays with the sender.
class SilentSubscriber {
  public:
    /// Throws std::system_error when nobody listens there, or answers.
    explicit SilentSubscriber(const std::string& endpoint, const std::string& topic = "");
    ~SilentSubscriber();
    SilentSubscriber(const SilentSubscriber&) = delete;
    SilentSubscriber& operator=(const SilentSubscriber&) = delete;

    /// To one more topic.
    void subscribe(const std::string& topic) const;

    /// Reads what was sent so far, without waiting; false when the other side has closed.
    bool isConnected();

  private:
    void send(const std::string& bytes) const;
    void receive(std::size_t size) const;

    const int number;
};

}  // namespace tarn::test
