#include "platform/os/Readable.h"

#include <poll.h>

#include <cerrno>

namespace tarn::os {

bool becomesReadable(int descriptor, const Deadline& deadline) {
    while (true) {
        pollfd input{.fd = descriptor, .events = POLLIN, .revents = 0};
        const int ready = ::poll(&input, 1, deadline.remainingForPoll());
        if (ready > 0 || (ready == 0 && deadline.hasPassed()) || (ready < 0 && errno != EINTR)) {
            return ready > 0;
        }
    }
}

}  // namespace tarn::os
