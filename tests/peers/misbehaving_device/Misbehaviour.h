#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarn::test {

enum class Replies { Good, WrongType, Failure, Silence, Garbage };
enum class Ids { Unique, Repeated };
enum class Noise { None, Garbage };

/// What a misbehaving device does wrong. As it stands: nothing.
struct Misbehaviour {
    std::string endpoint;       ///< monitoring endpoint
    std::string eventEndpoint;  ///< told as it is, whatever it is; empty: none
    std::string id = "misbehaving";

    Replies replies = Replies::Good;
    bool printsRequests = false;
    unsigned goodReplies = 0;  ///< so many before the others
    std::chrono::milliseconds delay{0};
    std::optional<unsigned> diesAfter;  ///< requests

    unsigned nodes = 1;  ///< of its subtree
    Ids ids = Ids::Unique;

    unsigned levels = 1;               ///< of its description
    std::size_t bytes = 0;             ///< in its description, about; 0: as many as it has
    std::optional<unsigned> fitAfter;  ///< so many requests, its description is good
    unsigned eventLevels = 0;    ///< a change to a device of so many, sent once in an interval
    std::size_t eventBytes = 0;  ///< likewise; both 0: none

    std::vector<unsigned> eventTypes;  ///< by number, each sent once in an interval
    Noise noise = Noise::None;
    unsigned floodRate = 0;  ///< status changes a second

    std::optional<std::uint32_t> seed;  ///< change the tree at random
    unsigned changes = 100;             ///< so often, then stay
    std::chrono::milliseconds interval{1000};
};

/// Nothing when the program is to end now.
std::optional<Misbehaviour> parseMisbehaviour(int argc, const char* const* argv, int& exitStatus);

}  // namespace tarn::test
