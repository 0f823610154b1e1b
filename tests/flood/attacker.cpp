// Who does everything to a socket file that costs those behind it something, until he is stopped.
#include <poll.h>
#include <signal.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "proto/api_service.pb.h"
#include "tests/flood/Peer.h"

namespace {

using tarn::flood::frame;
using tarn::flood::Peer;
using tarn::proto::api_service::ApiToServiceRequest;
using Clock = std::chrono::steady_clock;

constexpr std::size_t large = 10U << 20;

std::string requestOfType(ApiToServiceRequest::ApiToServiceRequestType type) {
    ApiToServiceRequest request;
    request.set_type(type);
    return frame("", true) + frame(request.SerializeAsString(), false);
}

std::string many(const std::string& part) {
    std::string bytes;
    while (bytes.size() < 60000) {
        bytes += part;
    }
    return bytes;
}

// Each of them another one, in the longest names that are let in.
std::string subscriptions() {
    std::string all;
    for (int i = 0; i < 50000; ++i) {
        auto topic = std::to_string(i * 7919LL % 50000);
        topic.resize(250, static_cast<char>('a' + i % 26));
        all += frame("\1" + topic, false);
    }
    return all;
}

const std::map<std::string, Peer::Says>& ways() {
    static const std::map<std::string, Peer::Says> all{
        {"half-open", {.greets = false}},
        {"idle", {}},
        {"large", {.again = frame("", true) + frame(std::string(large, '\xff'), false)}},
        {"parts", {.again = many(frame("", true))}},
        {"large-parts", {.again = frame(std::string(large, 'x'), true)}},
        {"too-large", {.again = frame(std::string(2 * large, 'x'), false)}},
        {"requests", {.again = requestOfType(ApiToServiceRequest::GET_INFO)}},
        {"byte-by-byte", {.again = requestOfType(ApiToServiceRequest::GET_INFO), .most = 1}},
        {"submissions", {.again = requestOfType(ApiToServiceRequest::JOB_SUBMISSION)}},
        {"subscriptions", {.again = subscriptions(), .socketType = "SUB"}},
        {"unread-events", {.once = frame("\1", false), .reads = false, .socketType = "SUB"}},
        {"unread", {.again = many(requestOfType(ApiToServiceRequest::GET_INFO)), .reads = false}},
    };
    return all;
}

/// Who was put out comes again.
class Crowd {
  public:
    Crowd(std::string path, const Peer::Says& says, std::size_t size)
        : path(std::move(path)), says(says), size(size) {}

    void go() {
        fill();
        std::vector<pollfd> wanted;
        for (const auto& peer : peers) {
            wanted.push_back({peer->descriptor(), peer->events(), 0});
        }
        ::poll(wanted.data(), wanted.size(), 10);
        for (std::size_t i = 0; i < peers.size(); ++i) {
            if (wanted[i].revents != 0) {
                peers[i]->go();
            }
        }
    }

    void report() const {
        std::size_t greeted = 0;
        std::size_t sent = 0;
        for (const auto& peer : peers) {
            greeted += peer->isIn() && peer->isGreeted() ? 1 : 0;
            sent += peer->bytesSent();
        }
        std::cout << "in " << greeted << " tries " << tries << " sent " << sent << std::endl;
    }

  private:
    void fill() {
        std::erase_if(peers, [](const auto& peer) { return !peer->isIn(); });
        while (peers.size() < size && Clock::now() >= nextTry) {
            ++tries;
            auto peer = std::make_unique<Peer>(path, says);
            if (!peer->isIn()) {
                nextTry = Clock::now() + std::chrono::milliseconds(5);
                return;
            }
            peers.push_back(std::move(peer));
        }
    }

    const std::string path;
    const Peer::Says& says;
    const std::size_t size;
    std::size_t tries = 0;
    Clock::time_point nextTry;
    std::vector<std::unique_ptr<Peer>> peers;
};

}  // namespace

int main(int argc, char** argv) {
    std::string path;
    std::string way;
    std::size_t size = 1;
    CLI::App app("Floods a socket file, and says once a second how far it got");
    app.add_option("path", path)->required();
    app.add_option("way", way)->required()->check(CLI::IsMember(ways()));
    app.add_option("connections", size)->required();
    CLI11_PARSE(app, argc, argv);
    Crowd crowd(path, ways().at(way), size);
    auto nextReport = Clock::now() + std::chrono::seconds(1);
    while (true) {
        crowd.go();
        if (Clock::now() >= nextReport) {
            crowd.report();
            nextReport += std::chrono::seconds(1);
        }
    }
}
