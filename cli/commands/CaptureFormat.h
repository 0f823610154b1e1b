#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <utility>
#include <vector>

#include "proto/deltacast_configuration.fwd.h"

namespace tarn::cli {

using CaptureConfig = proto::deltacast_configuration::DeltacastConfig;

/// A word of the command line and the message's value for it.
using CaptureWords = std::vector<std::pair<std::string, int>>;

const CaptureWords& pixelFormatWords();
const CaptureWords& lineCountWords();
const CaptureWords& fieldModeWords();
const CaptureWords& frameRateWords();

/// "1080i25": for people. A value that is not known is "?".
std::string linesAndRate(const CaptureConfig& config);
std::string pixelFormatOf(const CaptureConfig& config);

/// "0, 1:-1": channels, with their offsets where they have one.
std::string inputsOf(const CaptureConfig& config);

/// The fields of the message with the words of the command line; numbers are numbers.
nlohmann::ordered_json documentOf(const CaptureConfig& config);

/// "2" or "2:-1", a channel and its frame offset. Throws std::invalid_argument.
void addInput(CaptureConfig& config, const std::string& text);

}  // namespace tarn::cli
