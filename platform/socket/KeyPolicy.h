#pragma once

#include <string>

namespace tarn::socket {

/// Whom an endpoint is for, beside who has this process's own key. What each of them may ask for
/// there is another question.
enum class Entrance {
    Clients,      ///< who asks, or follows what is published
    Devices,      ///< who tells of devices
    OwnPrograms,  ///< who may speak for the service itself
};

/// Decides by their keys who may connect to this process over TCP.
class KeyPolicy {
  public:
    virtual ~KeyPolicy() = default;

    /// `key` is a public key in Z85 whose owner has proved to have the secret one. Any thread.
    virtual bool admits(const std::string& key, Entrance entrance) const = 0;

    /// Readable, for poll, when `refresh` may find a change. -1: nothing tells; it is to be called
    /// now and then.
    virtual int descriptor() const = 0;

    /// Looks for a change, and takes it; whether there was one. On one thread.
    virtual bool refresh() = 0;
};

}  // namespace tarn::socket
