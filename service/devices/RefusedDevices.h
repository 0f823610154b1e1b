#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>

#include "platform/utils/Synchronised.h"

namespace tarn::service::devices {

/// Devices of which an event was refused, by id. What the tree would show of them is not true any
/// more: until all of the device is told anew it shows them in error. Any thread.
class RefusedDevices {
  public:
    using Time = std::chrono::steady_clock::time_point;
    using Clock = std::function<Time()>;

    explicit RefusedDevices(Clock now) : now(std::move(now)) {}

    enum class Before { Welcome, Refused };

    /// What the device was until now.
    Before add(const std::string& id);
    void remove(const std::string& id);
    bool contains(const std::string& id);
    bool isEmpty() { return since.lock()->empty(); }

    /// Whether it has been refused for so long that whoever watches it should ask for all of it.
    /// Not at once: people are to see it.
    bool isDue(const std::string& id);

    /// Whether it is to be logged that the device is refused: once a minute at most.
    bool takeLine(const std::string& id);

    static constexpr std::chrono::seconds shownFor{3};
    static constexpr std::chrono::minutes betweenLines{1};

  private:
    using Times = std::map<std::string, Time>;

    const Clock now;
    utils::Synchronised<Times> since;
    utils::Synchronised<Times> lines;
};

}  // namespace tarn::service::devices
