#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "peers/ingest_service/IngestOptions.h"

namespace tarn::test {

enum class StopCommand { Obeyed, Ignored };
enum class Answers { Good, WrongType, None };
enum class Descriptions { Given, NotGiven };
enum class Life { Long, EndsAtOnce };

/// What a misbehaving ingest service does wrong. As it stands: nothing.
struct IngestMisbehaviour {
    peers::ingest_service::CaptureOrder order;  ///< told as it is; nothing is captured
    std::string endpoint;
    std::string eventEndpoint;  ///< empty: none
    StopCommand stop = StopCommand::Obeyed;
    Answers answers = Answers::Good;
    Descriptions descriptions = Descriptions::Given;
    Life life = Life::Long;
    std::chrono::milliseconds startAfter{0};
    std::string pid = "own";  ///< "own", "none", or the property's value
};

/// Nothing when the program is to end now.
std::optional<IngestMisbehaviour> parseIngestMisbehaviour(int argc, const char* const* argv,
                                                          int& exitStatus);

}  // namespace tarn::test
