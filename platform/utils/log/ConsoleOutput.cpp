#include "platform/utils/log/ConsoleOutput.h"

#include <poll.h>

#include <array>
#include <string>
#include <system_error>

#include "platform/os/SignalsBlocked.h"

namespace tarn::utils {

namespace {

constexpr int patienceMs = 200;

}  // namespace

ConsoleOutput::ConsoleOutput(int descriptor, std::size_t mostWaiting)
    : mostWaiting(mostWaiting), output(descriptor) {}

ConsoleOutput::~ConsoleOutput() {
    if (ending) {
        ending->ring();
    }
    if (thread.joinable()) {
        thread.join();
    }
}

void ConsoleOutput::write(std::string_view line) {
    const std::lock_guard lock(mutex);
    if (waiting.isEmpty()) {
        line.remove_prefix(output.put(line));
    }
    if (!line.empty()) {
        keep(line);
        startSending();
    }
}

void ConsoleOutput::keep(std::string_view line) {
    if (waiting.size() > mostWaiting) {
        ++dropped;
        return;
    }
    noteDropped();
    waiting.append(line);
}

void ConsoleOutput::noteDropped() {
    if (dropped != 0) {
        waiting.append("... " + std::to_string(dropped) +
                       " lines are missing here: nobody read them\n");
        dropped = 0;
    }
}

// Without a thread, or a descriptor for it, what waits goes out with a later line.
void ConsoleOutput::startSending() {
    if (sending == Sending::Running) {
        return;
    }
    if (sending == Sending::Ended) {
        thread.join();
        sending = Sending::Nothing;
    }
    try {
        if (!ending) {
            ending.emplace();
        }
        const os::SignalsBlocked duringStart;
        thread = std::thread([this] { sendWaiting(); });
        sending = Sending::Running;
    } catch (const std::system_error&) {
        sendSome();
    }
}

void ConsoleOutput::sendWaiting() {
    bool isEnding = false;
    while (true) {
        std::array<pollfd, 2> wanted{
            {{output.descriptor(), POLLOUT, 0}, {isEnding ? -1 : ending->descriptor(), POLLIN, 0}}};
        const int ready = ::poll(wanted.data(), wanted.size(), isEnding ? patienceMs : -1);
        isEnding = isEnding || wanted[1].revents != 0;
        const std::lock_guard lock(mutex);
        if ((isEnding && ready == 0) || (wanted[0].revents != 0 && !sendSome())) {
            sending = Sending::Ended;
            return;
        }
    }
}

// False when nothing waits any more.
bool ConsoleOutput::sendSome() {
    waiting.drop(output.put(waiting.view()));
    if (waiting.isEmpty()) {
        noteDropped();
    }
    return !waiting.isEmpty();
}

}  // namespace tarn::utils
