#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>
#include <zmq.hpp>

#include "platform/socket/SocketTypes.h"

namespace tarn::socket {

/// Throws for a failed call of the messaging library: ZmqContextTerminationException while the
/// context is being terminated, otherwise std::runtime_error; "<action>: <reason>".
[[noreturn]] void throwZmqError(const std::string& action, const zmq::error_t& failure);

/// Calls the messaging library, again when a signal interrupts it, and throws as above. `action` is
/// made to a string only then.
template <typename Action, typename Call>
auto callZmq(const Action& action, Call call) {
    while (true) {
        try {
            return call();
        } catch (const zmq::error_t& failure) {
            if (failure.num() != EINTR) {
                throwZmqError(action, failure);
            }
        }
    }
}

/// Runs the action and puts `name()` in front of what it throws.
template <typename Name, typename Action>
auto callNamed(Name name, Action action) {
    try {
        return action();
    } catch (const ZmqContextTerminationException& failure) {
        throw ZmqContextTerminationException(name() + ": " + failure.what());
    } catch (const std::runtime_error& failure) {
        throw std::runtime_error(name() + ": " + failure.what());
    }
}

}  // namespace tarn::socket
