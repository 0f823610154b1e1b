#include "platform/socket/zmq/InProcessNames.h"

namespace tarn::socket {

void InProcessNames::bind(const std::string& name, const std::function<void()>& action) {
    const std::lock_guard lock(mutex);
    action();
    ++changes[name];
}

void InProcessNames::unbind(const std::string& name, const std::function<void()>& action) {
    const std::lock_guard lock(mutex);
    action();
    ++changes[name];
}

InProcessNames::Binding InProcessNames::connect(const std::string& name,
                                                const std::function<void()>& action) {
    const std::lock_guard lock(mutex);
    action();
    const auto now = changes[name];
    return now % 2 == 1 ? now : now + 1;
}

bool InProcessNames::isOver(const std::string& name, Binding binding) {
    const std::lock_guard lock(mutex);
    return changes[name] > binding;
}

}  // namespace tarn::socket
