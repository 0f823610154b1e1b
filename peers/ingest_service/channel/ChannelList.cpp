#include "peers/ingest_service/channel/ChannelList.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <sstream>
#include <stdexcept>

#include "platform/utils/Printable.h"

namespace tarn::peers::ingest_service {

namespace {

constexpr int highestChannel = 31;
constexpr int largestOffset = 25;

int parseNumber(const std::string& word, int lowest, int highest, const std::string& what) {
    int number = 0;
    const auto* const end = word.data() + word.size();
    const auto result = std::from_chars(word.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end || number < lowest || number > highest) {
        throw std::invalid_argument(utils::quotedText(word) + " is no " + what +
                                    ": a number from " + std::to_string(lowest) + " to " +
                                    std::to_string(highest) + " is expected");
    }
    return number;
}

std::vector<int> parseNumbers(const std::string& list, int lowest, int highest,
                              const std::string& what) {
    std::vector<int> numbers;
    std::istringstream text(list);
    for (std::string word; text >> word;) {
        numbers.push_back(parseNumber(word, lowest, highest, what));
    }
    return numbers;
}

}  // namespace

std::vector<Channel> parseChannels(const std::string& numbers, const std::string& offsets) {
    const auto inputs = parseNumbers(numbers, 0, highestChannel, "channel");
    auto shifts = parseNumbers(offsets, -largestOffset, largestOffset, "frame offset");
    if (shifts.size() > inputs.size()) {
        throw std::invalid_argument("there are more frame offsets than channels");
    }
    if (std::set(inputs.begin(), inputs.end()).size() != inputs.size()) {
        throw std::invalid_argument("a channel is named twice");
    }
    shifts.resize(inputs.size(), 0);
    std::vector<Channel> channels;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        channels.push_back({static_cast<unsigned>(inputs[i]), shifts[i]});
    }
    return channels;
}

std::vector<unsigned> delaysOf(const std::vector<Channel>& channels) {
    int earliest = 0;
    for (const auto& channel : channels) {
        earliest = std::min(earliest, channel.frameOffset);
    }
    std::vector<unsigned> delays;
    for (const auto& channel : channels) {
        delays.push_back(static_cast<unsigned>(channel.frameOffset - earliest));
    }
    return delays;
}

}  // namespace tarn::peers::ingest_service
