#include "platform/socket/curve/AuthenticationMessage.h"

#include <zmq.h>

#include <array>

#include "platform/socket/curve/ProtectionState.h"

namespace tarn::socket::curve {

namespace {

constexpr auto version = "1.0";
constexpr std::size_t keyBytes = 32;

// The order of a question's frames; credentials come last.
enum Frame : std::size_t { Version, Id, Domain, Address, RoutingId, Mechanism, Credentials };

std::string keyOf(const std::vector<std::string>& frames) {
    if (frames.size() != Credentials + 1 || frames[Mechanism] != "CURVE" ||
        frames[Credentials].size() != keyBytes) {
        return {};
    }
    std::array<char, 41> text{};
    zmq_z85_encode(text.data(), reinterpret_cast<const std::uint8_t*>(frames[Credentials].data()),
                   keyBytes);
    return text.data();
}

// The library's form of such an address, which no numeric one begins like.
bool isOverIpc(const std::vector<std::string>& frames) {
    return frames.size() == Credentials && frames[Mechanism] == "NULL" &&
           frames[Address].starts_with("localhost:");
}

}  // namespace

std::optional<Question> questionOf(const std::vector<std::string>& frames) {
    if (frames.size() < Credentials || frames[Version] != version) {
        return std::nullopt;
    }
    return Question{.id = frames[Id],
                    .entrance = entranceOf(frames[Domain]),
                    .address = frames[Address],
                    .key = keyOf(frames),
                    .isOverIpc = isOverIpc(frames)};
}

std::vector<std::string> answerTo(const Question& question, bool isAdmitted) {
    const std::string metadata;
    return isAdmitted
               ? std::vector<std::string>{version, question.id, "200", "OK", question.key, metadata}
               : std::vector<std::string>{version,         question.id, "400",
                                          "Access denied", {},          metadata};
}

}  // namespace tarn::socket::curve
