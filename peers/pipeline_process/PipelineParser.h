#pragma once

#include <string>

#include "peers/pipeline_process/GstPointers.h"

namespace tarn::peers {

/// Builds a pipeline from its text in the launch syntax. A text of one element or bin is put into a
/// pipeline. Null, with the media library's own message in `error` (and the names of all elements
/// that this machine lacks), for anything that is not wholly understood: the library itself would
/// run what is left after leaving out what it does not know.
GstElementPtr parsePipeline(const std::string& text, std::string& error);

}  // namespace tarn::peers
