#include "service/devices/EndpointHolder.h"

#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::service::devices {

namespace {

namespace fs = std::filesystem;
using Holding = ProcessControl::Holding;
using Links = std::set<std::string>;  // "socket:[inode]", as an open descriptor is shown

std::string linkOf(const std::string& inode) {
    return "socket:[" + inode + "]";
}

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream text(line);
    std::vector<std::string> words;
    for (std::string word; text >> word;) {
        words.push_back(word);
    }
    return words;
}

// "address: references protocol flags type state inode path". A path with a blank in it is not
// found.
Links socketsAtPath(const std::string& path) {
    constexpr std::size_t inode = 6;
    constexpr std::size_t name = 7;
    Links links;
    std::ifstream table("/proc/net/unix");
    for (std::string line; std::getline(table, line);) {
        const auto words = wordsOf(line);
        if (words.size() > name && words[name] == path) {
            links.insert(linkOf(words[inode]));
        }
    }
    return links;
}

// "number: address:port remote:port state ... inode ...", with the port in hexadecimal digits.
void addListeners(const char* file, std::uint16_t port, Links& links) {
    constexpr std::size_t local = 1;
    constexpr std::size_t state = 3;
    constexpr std::size_t inode = 9;
    constexpr auto listening = "0A";
    std::ifstream table(file);
    for (std::string line; std::getline(table, line);) {
        const auto words = wordsOf(line);
        if (words.size() <= inode || words[state] != listening) {
            continue;
        }
        const auto colon = words[local].rfind(':');
        if (std::stoul("0" + words[local].substr(colon + 1), nullptr, 16) == port) {
            links.insert(linkOf(words[inode]));
        }
    }
}

Links socketsAt(const socket::SocketEndpoint& endpoint) {
    Links links;
    switch (endpoint.transport()) {
        case socket::Transport::Ipc: {
            constexpr std::string_view scheme = "ipc://";
            return socketsAtPath(endpoint.toString(socket::Protocol::None).substr(scheme.size()));
        }
        case socket::Transport::Tcp:
            addListeners("/proc/net/tcp", endpoint.port(), links);
            addListeners("/proc/net/tcp6", endpoint.port(), links);
            break;
        case socket::Transport::InProcess:
            break;
    }
    return links;
}

bool hasOneOf(pid_t id, const Links& links) {
    for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(id) + "/fd")) {
        std::error_code closedMeanwhile;
        if (links.contains(fs::read_symlink(entry.path(), closedMeanwhile).string())) {
            return true;
        }
    }
    return false;
}

}  // namespace

ProcessControl::Holding holdsEndpoint(pid_t id, const socket::SocketEndpoint& endpoint) {
    try {
        const auto links = socketsAt(endpoint);
        if (links.empty()) {
            return Holding::Unknown;
        }
        return hasOneOf(id, links) ? Holding::Holds : Holding::HoldsNot;
    } catch (const std::exception&) {  // gone, or not ours to look into
        return Holding::Unknown;
    }
}

}  // namespace tarn::service::devices
