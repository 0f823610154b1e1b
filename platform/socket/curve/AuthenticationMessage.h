#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/socket/KeyPolicy.h"

namespace tarn::socket::curve {

/// The messaging library's question about somebody who connects.
struct Question {
    std::string id;
    std::optional<Entrance> entrance;  ///< nothing: none of ours
    std::string address;               ///< numeric
    std::string key;                   ///< public, in Z85; empty: he proved none
    bool isOverIpc = false;            ///< where the kernel says who it is
};

/// Reads the frames of a question; nothing for what is none of the protocol's version 1.0.
std::optional<Question> questionOf(const std::vector<std::string>& frames);

/// The frames of the answer. A key that is admitted is what messages of the connection carry.
std::vector<std::string> answerTo(const Question& question, bool isAdmitted);

}  // namespace tarn::socket::curve
