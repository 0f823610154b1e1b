#pragma once

#include <optional>
#include <string>
#include <vector>

#include "peers/pipeline_process/GstPointers.h"

namespace tarn::peers {

/// Takes elements out of this process's registry of the media library: no pipeline has them from
/// then on, neither by its text nor by what other elements choose. What was made before stays.
void refuseElements(const std::vector<std::string>& names);

/// Why a text with one of these was not understood: "; the configuration refuses X", or empty.
/// `error` is the media library's own.
std::string explainRefusal(const std::string& error, const std::vector<std::string>& refused);

/// What is wrong with where a pipeline is going to write: the first file that is not below one of
/// the folders. For a clear word before anything is opened: where links lead and what elements
/// choose later only the kernel sees.
std::optional<std::string> writesOutside(GstElement& pipeline,
                                         const std::vector<std::string>& folders);

/// Whether a pipeline's text names what talks over Unix sockets: shared memory, displays, sound
/// servers, loop storages. In doubt it does.
bool usesLocalSockets(const std::string& pipeline);

}  // namespace tarn::peers
