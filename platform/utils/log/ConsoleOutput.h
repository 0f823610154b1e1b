#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>
#include <thread>

#include "platform/os/WakeUp.h"
#include "platform/utils/log/ImmediateOutput.h"
#include "platform/utils/log/PendingText.h"

namespace tarn::utils {

/// Lines for standard output or standard error, whoever reads them there: nobody who writes ever
/// waits for the reader.
///
/// A line goes out at once where there is room for it. Otherwise it waits, and a thread that lives
/// as long as something waits sends it when there is room. Where too much waits lines are dropped,
/// and a line in their place says how many. A reader that has gone costs nothing. Any thread.
class ConsoleOutput {
  public:
    /// `descriptor` is the caller's. A line is dropped when `mostWaiting` bytes wait already.
    explicit ConsoleOutput(int descriptor, std::size_t mostWaiting = std::size_t{4} << 20);

    /// Lets out what waits as long as somebody reads it: gives up after 200 ms in which nobody did.
    ~ConsoleOutput();
    ConsoleOutput(const ConsoleOutput&) = delete;
    ConsoleOutput& operator=(const ConsoleOutput&) = delete;

    /// One line, with its line end.
    void write(std::string_view line);

  private:
    enum class Sending { Nothing, Running, Ended };

    void keep(std::string_view line);
    void noteDropped();
    void startSending();
    void sendWaiting();
    bool sendSome();

    const std::size_t mostWaiting;
    const ImmediateOutput output;
    std::optional<os::WakeUp> ending;  // rings when the object ends; made when needed

    std::mutex mutex;  // guards what follows
    PendingText waiting;
    std::uint64_t dropped = 0;
    Sending sending = Sending::Nothing;
    std::thread thread;
};

}  // namespace tarn::utils
