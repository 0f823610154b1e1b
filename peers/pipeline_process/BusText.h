#pragma once

#include <string>

#include "peers/pipeline_process/GstPointers.h"

namespace tarn::peers {

/// An error or warning of the media library in words, each part cut to what a report may carry.
struct BusText {
    std::string message;  ///< "<element>: <what happened>"
    std::string detail;   ///< for developers; may be empty
};

/// Of an ERROR or WARNING message.
BusText textOf(GstMessage& message);

}  // namespace tarn::peers
