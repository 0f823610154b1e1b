#pragma once

#include <string>

namespace tarn::service::devices {

class DeviceEventListener;

/// The event endpoint that one device names at the moment, if any: the listener listens there as
/// long as some device names it. One thread at a time.
class NamedEventEndpoint {
  public:
    /// The listener must outlive every endpoint that is named here, not this object.
    explicit NamedEventEndpoint(DeviceEventListener& listener) : listener(listener) {}
    ~NamedEventEndpoint() { release(); }
    NamedEventEndpoint(const NamedEventEndpoint&) = delete;
    NamedEventEndpoint& operator=(const NamedEventEndpoint&) = delete;

    /// In place of the one before. False, with the reason in `error`, when the service cannot
    /// listen there: none is named then.
    bool name(const std::string& endpoint, std::string& error);
    void release();

    bool isNamed() const { return !text.empty(); }

  private:
    DeviceEventListener& listener;
    std::string text;  // empty: none
};

}  // namespace tarn::service::devices
