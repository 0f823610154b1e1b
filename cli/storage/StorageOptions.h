#pragma once

#include <cstdint>
#include <string>

namespace CLI {
class App;
}

namespace tarn::cli {

/// The track that a command is about.
void addTrackOption(CLI::App& command, std::int64_t& id);

/// The worker that a command is about.
void addWorkerOption(CLI::App& command, std::int64_t& id);

void addTicketOption(CLI::App& command, std::int64_t& ticket);

/// --size; the text is one of a size.
void addSizeOption(CLI::App& command, std::string& size);

void addWaitOption(CLI::App& command, bool& wait);

}  // namespace tarn::cli
