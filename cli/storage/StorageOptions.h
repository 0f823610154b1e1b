#pragma once

#include <cstdint>

namespace CLI {
class App;
}

namespace tarn::cli {

/// The track that a command is about.
void addTrackOption(CLI::App& command, std::int64_t& id);

/// The worker that a command is about.
void addWorkerOption(CLI::App& command, std::int64_t& id);

void addTicketOption(CLI::App& command, std::int64_t& ticket);

/// --size, in bytes.
void addSizeOption(CLI::App& command, std::uint64_t& size);

void addWaitOption(CLI::App& command, bool& wait);

}  // namespace tarn::cli
