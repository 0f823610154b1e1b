#pragma once

#include <string>

#include "peers/pipeline_process/GstPointers.h"

namespace tarn::peers {

/// The name of a source because of which the stream of a playing pipeline has no end of its own:
/// where it ends all the same and nobody wished it, whoever sends has hung up. Empty for a pipeline
/// that comes to an end by itself.
///
/// Such a source is live, or is a connection of which nobody knows how much is to come. A stream
/// whose length is known has an end, and so has one that is limited in its description
/// (`num-buffers`, `eos-after`, `stop-at-end`).
std::string sourceWithoutEnd(GstElement& pipeline);

}  // namespace tarn::peers
