#include "tests/system/harness/Service.h"

#include <signal.h>

namespace tarn::test {

Service::Service(const std::vector<std::string>& command) : run(command) {}

bool Service::waitUntilServing() const {
    return waitForLog("Receiving on ");
}

bool Service::waitForLog(const std::string& text) const {
    return waitForLogAfter(0, text);
}

bool Service::waitForLogAfter(std::size_t after, const std::string& text) const {
    return run.output().waitFor(text, after).has_value();
}

void Service::interrupt() const {
    run.signal(SIGINT);
}

Ending Service::waitForEnd(std::chrono::milliseconds bound) {
    return run.waitForEnd(bound);
}

Ending Service::stop() {
    interrupt();
    return waitForEnd();
}

void Service::killHard() {
    run.signal(SIGKILL);
    waitForEnd();
}

}  // namespace tarn::test
