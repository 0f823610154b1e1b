#pragma once

#include <string>
#include <vector>

#include "platform/device_tree/GlobalStatus.h"

namespace tarn::peers::host_monitor {

struct DiskSpace;
struct MemoryInfo;
struct NetworkInterface;
struct Temperature;

/// Whether a network interface was seen with a carrier: only then is its loss news.
enum class CarrierHistory { Never, Had };

// How each part of the machine is, with a description for people.
tarn::device_tree::GlobalStatus healthOf(const DiskSpace& space);      ///< 90 % and 97 % used
tarn::device_tree::GlobalStatus healthOf(const MemoryInfo& memory);    ///< 10 % and 3 % left
tarn::device_tree::GlobalStatus healthOf(const Temperature& reading);  ///< its own limits
tarn::device_tree::GlobalStatus healthOf(const NetworkInterface& interface, CarrierHistory history);
tarn::device_tree::GlobalStatus healthy();

struct NamedHealth {
    std::string name;
    tarn::device_tree::GlobalStatus status;
};

/// How the whole is: as its worst part, the first of several, which the description names.
tarn::device_tree::GlobalStatus worstOf(const std::vector<NamedHealth>& parts);

}  // namespace tarn::peers::host_monitor
