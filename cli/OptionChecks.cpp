#include "cli/OptionChecks.h"

#include <exception>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::cli {

std::string checkEndpoint(const std::string& text) {
    try {
        socket::SocketEndpoint::FromString(text);
        return "";
    } catch (const std::exception& e) {
        return e.what();
    }
}

}  // namespace tarn::cli
