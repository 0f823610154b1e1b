#include "tests/failing_disk/Faults.h"

#include <algorithm>

namespace tarn::failing_disk {

void Faults::add(const Fault& fault) {
    const std::lock_guard lock(mutex);
    faults.push_back(fault);
}

void Faults::clear() {
    {
        const std::lock_guard lock(mutex);
        faults.clear();
        ++clearings;
    }
    cleared.notify_all();
}

void Faults::pause(std::chrono::milliseconds delay) {
    std::unique_lock lock(mutex);
    const auto before = clearings;
    cleared.wait_for(lock, delay, [&] { return clearings != before; });
}

unsigned Faults::met() const {
    const std::lock_guard lock(mutex);
    return count;
}

bool Faults::concerns(const Fault& fault, const Access& access) {
    const bool isOfFolder = fault.path.empty() || fault.path.ends_with('/');
    const bool isThere =
        isOfFolder ? access.path.starts_with(fault.path) : access.path == fault.path;
    const bool hasRange =
        access.operation == Operation::Read || access.operation == Operation::Write;
    return fault.times != 0 && fault.operation == access.operation && isThere &&
           (!hasRange || (access.offset < fault.to && access.offset + access.size > fault.from));
}

Faults::Effect Faults::meet(const Access& access) {
    const std::lock_guard lock(mutex);
    Effect effect;
    for (auto& fault : faults) {
        if (!concerns(fault, access) || (fault.error != 0 && effect.error != 0)) {
            continue;
        }
        effect.error = std::max(effect.error, fault.error);
        effect.delay = std::max(effect.delay, fault.delay);
        fault.times -= fault.times == Fault::always ? 0 : 1;
        ++count;
    }
    return effect;
}

}  // namespace tarn::failing_disk
