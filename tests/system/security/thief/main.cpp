// What a user does who wants to be taken for a part of the media server: binds the names that
// its programs meet on, as early as he can, and says what he was given. It uses nothing of ours.
//
//     thief router|pull|publish PATH...    takes these names
//     thief launches                       takes the names of launchers that he sees being started
//
// Prints "ready", then "took PATH" or "missed PATH", and "stolen N bytes at PATH" for each message.
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zmq.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

class Thief {
  public:
    ~Thief() {
        for (const auto& [path, socket] : sockets) {
            zmq_close(socket);
        }
        zmq_ctx_term(context);
    }

    void take(const std::string& path, int type) {
        if (isAnothers(path)) {  // binding would fail, and sockets that failed are let go of slowly
            miss(path);
            return;
        }
        void* const socket = zmq_socket(context, type);
        constexpr int noLinger = 0;
        zmq_setsockopt(socket, ZMQ_LINGER, &noLinger, sizeof noLinger);
        if (zmq_bind(socket, ("ipc://" + path).c_str()) != 0) {
            zmq_close(socket);
            miss(path);
            return;
        }
        sockets[path] = socket;
        std::cout << "took " << path << std::endl;
    }

    bool has(const std::string& path) const { return sockets.contains(path); }

    void readAll() {
        for (const auto& [path, socket] : sockets) {
            std::array<char, 65536> part{};
            for (int size = 0;
                 (size = zmq_recv(socket, part.data(), part.size(), ZMQ_DONTWAIT)) >= 0;) {
                std::cout << "stolen " << size << " bytes at " << path << std::endl;
            }
        }
    }

    // Forged news, for those who subscribe.
    void publish() {
        for (const auto& [path, socket] : sockets) {
            zmq_send(socket, "forged", 6, ZMQ_DONTWAIT);
        }
    }

  private:
    static bool isAnothers(const std::string& path) {
        struct stat file {};
        return ::lstat(path.c_str(), &file) == 0 && file.st_uid != ::geteuid();
    }

    void miss(const std::string& path) {
        if (missed.insert(path).second) {
            std::cout << "missed " << path << std::endl;
        }
    }

    void* const context = zmq_ctx_new();
    std::map<std::string, void*> sockets;
    std::set<std::string> missed;
};

std::string commandLineOf(const std::string& process) {
    // Of a process that ends meanwhile nothing can be read, at which a stream's iterator throws.
    std::ifstream file("/proc/" + process + "/cmdline", std::ios::binary);
    std::string text(4096, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    for (auto& c : text) {
        c = c == '\0' ? ' ' : c;
    }
    return text;
}

std::vector<std::string> namesOfLaunchers() {
    constexpr const char* option = " -e ipc://";
    std::vector<std::string> names;
    DIR* const processes = ::opendir("/proc");
    while (const dirent* const entry = ::readdir(processes)) {
        if (entry->d_name[0] < '1' || entry->d_name[0] > '9') {
            continue;
        }
        const auto line = commandLineOf(entry->d_name);
        const auto found = line.find(option);
        if (found != std::string::npos) {
            const auto begin = found + std::strlen(option);
            names.push_back(line.substr(begin, line.find(' ', begin) - begin));
        }
    }
    ::closedir(processes);
    return names;
}

[[noreturn]] void watchLaunches(Thief& thief) {
    std::cout << "ready" << std::endl;
    while (true) {
        for (const auto& path : namesOfLaunchers()) {
            if (!thief.has(path)) {
                thief.take(path, ZMQ_ROUTER);
            }
        }
        thief.readAll();
    }
}

[[noreturn]] void keep(Thief& thief, int type, const std::vector<std::string>& paths) {
    for (const auto& path : paths) {
        thief.take(path, type);
    }
    std::cout << "ready" << std::endl;
    while (true) {
        if (type == ZMQ_PUB) {
            thief.publish();
        } else {
            thief.readAll();
        }
        ::usleep(2000);
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    const std::map<std::string, int> types{
        {"router", ZMQ_ROUTER}, {"pull", ZMQ_PULL}, {"publish", ZMQ_PUB}};
    Thief thief;
    if (words.size() == 1 && words[0] == "launches") {
        watchLaunches(thief);
    }
    if (words.size() < 2 || !types.contains(words[0])) {
        std::cerr << "usage: thief router|pull|publish PATH... | launches\n";
        return 2;
    }
    keep(thief, types.at(words[0]), {words.begin() + 1, words.end()});
}
