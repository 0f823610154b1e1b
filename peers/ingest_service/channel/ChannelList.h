#pragma once

#include <string>
#include <vector>

namespace tarn::peers::ingest_service {

struct Channel {
    unsigned number = 0;  ///< of the input on the board
    int frameOffset = 0;  ///< frames by which it comes later than a channel with a lower one
};

/// The channels of a list of numbers and one of offsets, both separated by blanks. A channel
/// without an offset has none. Throws std::invalid_argument for what is no number or out of range,
/// a channel that is named twice, and more offsets than channels.
std::vector<Channel> parseChannels(const std::string& numbers, const std::string& offsets);

/// The frames by which each channel is held back, so that none is early.
std::vector<unsigned> delaysOf(const std::vector<Channel>& channels);

}  // namespace tarn::peers::ingest_service
