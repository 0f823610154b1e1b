#include "platform/socket/zmq/RefusedListeners.h"

#include <exception>

#include "platform/utils/Log.h"
#include "platform/utils/Synchronised.h"

namespace tarn::socket {

bool RefusedListeners::isWorthALine(const std::string& path, const std::string& why,
                                    TimePoint now) {
    auto refused = path + '\0' + why;
    const auto known = nextLine.find(refused);
    if (known != nextLine.end() && now < known->second) {
        return false;
    }
    if (known == nextLine.end() && nextLine.size() >= most) {
        nextLine.clear();  // whoever makes so many gets a few lines more
    }
    nextLine[std::move(refused)] = now + betweenLines;
    return true;
}

void logRefusedListener(const std::string& path, const std::string& why) {
    // Never destroyed: the library's threads go on while the process exits.
    static auto& refused = *new tarn::utils::Synchronised<RefusedListeners>();
    try {
        if (refused.lock()->isWorthALine(path, why, std::chrono::steady_clock::now())) {
            tarn::utils::logError("Sockets > not connected to " + path + ": " + why);
        }
    } catch (const std::exception&) {
        // There is no memory for the line; the connection is refused all the same.
    }
}

}  // namespace tarn::socket
