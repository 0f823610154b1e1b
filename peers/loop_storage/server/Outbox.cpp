#include "peers/loop_storage/server/Outbox.h"

#include <algorithm>
#include <utility>

namespace tarn::peers::loop_storage {

namespace {

constexpr std::size_t mostAnswers = 64;
constexpr std::size_t mostBytes = 256U << 10U;

}  // namespace

void Outbox::add(std::string message, std::vector<char> payload) {
    messageBytes += message.size();
    waiting.push_back({.message = std::move(message), .payload = std::move(payload)});
}

std::vector<boost::asio::const_buffer> Outbox::begin() {
    underWay.swap(waiting);
    std::vector<boost::asio::const_buffer> parts;
    parts.reserve(2 * underWay.size());
    for (const auto& item : underWay) {
        parts.push_back(boost::asio::buffer(item.message));
        if (!item.payload.empty()) {
            parts.push_back(boost::asio::buffer(item.payload));
        }
    }
    return parts;
}

void Outbox::finish() {
    for (auto& item : underWay) {
        messageBytes -= item.message.size();
        if (item.payload.capacity() > spare.capacity()) {
            spare = std::move(item.payload);
        }
    }
    underWay.clear();
}

bool Outbox::isFull() const {
    return waiting.size() + underWay.size() >= mostAnswers || messageBytes >= mostBytes;
}

std::size_t Outbox::payloads() const {
    const auto carries = [](const Item& item) { return !item.payload.empty(); };
    return static_cast<std::size_t>(std::count_if(waiting.begin(), waiting.end(), carries) +
                                    std::count_if(underWay.begin(), underWay.end(), carries));
}

std::vector<char> Outbox::takeSpare() {
    return std::exchange(spare, {});
}

}  // namespace tarn::peers::loop_storage
