#include "cli/storage/StorageOptions.h"

#include <CLI/CLI.hpp>
#include <charconv>

#include "platform/program/Options.h"

namespace tarn::cli {

namespace {

// The parser itself takes a number that is too large for the largest one.
std::string checkNumber(const std::string& text) {
    std::int64_t number = -1;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const bool good = error == std::errc() && stop == end && number >= 0;
    return good ? "" : "a number from 0 is expected";
}

}  // namespace

void addTrackOption(CLI::App& command, std::int64_t& id) {
    command.add_option("ID", id, "The track's number")->required()->check(checkNumber);
}

void addWorkerOption(CLI::App& command, std::int64_t& id) {
    command.add_option("ID", id, "The worker's number")->required()->check(checkNumber);
}

void addTicketOption(CLI::App& command, std::int64_t& ticket) {
    command.add_option("N", ticket, "The operation's ticket")->required()->check(checkNumber);
}

void addSizeOption(CLI::App& command, std::uint64_t& size) {
    program::addSize(command, "--size", size, {}, "Room for that many bytes")->required();
}

void addWaitOption(CLI::App& command, bool& wait) {
    command.add_flag("--wait", wait, "Wait for the end; how it went is the exit status");
}

}  // namespace tarn::cli
