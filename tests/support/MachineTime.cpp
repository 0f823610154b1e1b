#include "tests/support/MachineTime.h"

#include <algorithm>
#include <fstream>
#include <string>

namespace tarn::test {

namespace {

using namespace std::chrono_literals;

#if defined(__SANITIZE_THREAD__)
constexpr double speed = 0.25;
#elif defined(__SANITIZE_ADDRESS__)
constexpr double speed = 0.5;
#else
constexpr double speed = 1;
#endif

// Of all processes of the machine, as the kernel tells them: "1.85 1.40 0.93 3/412 21977".
double threadsThatWantToRun() {
    std::ifstream file("/proc/loadavg");
    std::string averages;
    double running = 1;
    file >> averages >> averages >> averages >> running;
    return std::max(running, 1.0);
}

double shareOfEach() {
    const double processors = std::max(std::thread::hardware_concurrency(), 1U);
    return std::min(processors / threadsThatWantToRun(), 1.0);
}

}  // namespace

MachineTime::MachineTime() : watching([this](const std::stop_token& stop) { watch(stop); }) {}

void MachineTime::watch(const std::stop_token& stop) {
    constexpr auto step = 5ms;
    auto last = Clock::now();
    while (!stop.stop_requested()) {
        std::this_thread::sleep_for(step);
        const auto now = Clock::now();
        *counted.lock() += (now - last) * speed * shareOfEach();
        last = now;
    }
}

std::chrono::milliseconds MachineTime::elapsed() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(*counted.lock());
}

}  // namespace tarn::test
