#pragma once

#include <string>
#include <string_view>

#include "platform/device_tree/DeviceNode.h"

namespace tarn::device_tree {

/// What a message says of a device, as far as it shows without reading the message, which its depth
/// or size may forbid.
struct DeviceOutline {
    enum class Kind {
        None,      ///< the message says nothing of a device
        Whole,     ///< it has all of the device
        Statuses,  ///< it has statuses; the first is of the node with that id
    };

    Kind kind = Kind::None;
    std::string id;
    std::string name;
    DeviceClass deviceClass = DeviceClass::Generic;
    unsigned levels = 0;  ///< itself counted; not counted further than mostLevels + 1
};

/// Of the bytes of a DeviceToTarnServiceEvent, or of a DeviceToTarnServiceReply. Where they are
/// none it is the outline of what comes before that shows. Never throws; takes time in proportion
/// to the number of nodes, not of bytes.
DeviceOutline outlineOfEvent(std::string_view bytes);
DeviceOutline outlineOfReply(std::string_view bytes);

DeviceOutline outlineOf(const DeviceNode& device);

}  // namespace tarn::device_tree
