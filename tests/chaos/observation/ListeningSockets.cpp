#include "tests/chaos/observation/ListeningSockets.h"

#include <fstream>
#include <map>
#include <sstream>

namespace tarn::chaos {

namespace {

using Counts = std::map<std::string, int>;

// Lines of that file: number, references, protocol, flags, type, state, inode, path. Of those with
// a path the flag 10000 says that somebody listens.
void countFiles(Counts& listening) {
    std::ifstream table("/proc/net/unix");
    for (std::string line; std::getline(table, line);) {
        std::istringstream words(line);
        std::string number, references, protocol, flags, type, state, inode, path;
        words >> number >> references >> protocol >> flags >> type >> state >> inode >> path;
        if (flags == "00010000" && !path.empty()) {
            ++listening[path];
        }
    }
}

// Lines of that file: number, local address, remote address, state, ... State 0A is listening.
void countPorts(Counts& listening) {
    std::ifstream table("/proc/net/tcp");
    for (std::string line; std::getline(table, line);) {
        std::istringstream words(line);
        std::string number, local, remote, state;
        words >> number >> local >> remote >> state;
        if (state == "0A") {
            ++listening["TCP address " + local];
        }
    }
}

}  // namespace

std::vector<std::string> sharedSockets() {
    Counts listening;
    countFiles(listening);
    countPorts(listening);
    std::vector<std::string> shared;
    for (const auto& [place, count] : listening) {
        if (count > 1) {
            shared.push_back(place);
        }
    }
    return shared;
}

}  // namespace tarn::chaos
