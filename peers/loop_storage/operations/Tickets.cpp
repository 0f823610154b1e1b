#include "peers/loop_storage/operations/Tickets.h"

#include <utility>

#include "peers/loop_storage/StorageError.h"

namespace tarn::peers::loop_storage {

namespace {

bool isOver(int state) {
    return state != TARN_STORAGE_TICKET_QUEUED && state != TARN_STORAGE_TICKET_RUNNING;
}

}  // namespace

std::int64_t Tickets::add() {
    const std::lock_guard lock(mutex);
    entries[++last].info.state = TARN_STORAGE_TICKET_QUEUED;
    return last;
}

void Tickets::setRunning(std::int64_t ticket) {
    const std::lock_guard lock(mutex);
    entries[ticket].info.state = TARN_STORAGE_TICKET_RUNNING;
}

void Tickets::finish(std::int64_t ticket, std::int64_t value) {
    end(ticket, {.state = TARN_STORAGE_TICKET_FINISHED, .value = value, .error = 0, .message = {}});
}

void Tickets::fail(std::int64_t ticket, const std::exception& failure) {
    end(ticket, {.state = TARN_STORAGE_TICKET_FAILED,
                 .value = 0,
                 .error = typeOf(failure),
                 .message = failure.what()});
}

void Tickets::cancel(std::int64_t ticket) {
    end(ticket, {.state = TARN_STORAGE_TICKET_CANCELLED, .value = 0, .error = 0, .message = {}});
}

void Tickets::end(std::int64_t ticket, TicketInfo info) {
    std::map<const void*, std::function<void()>> woken;
    {
        const std::lock_guard lock(mutex);
        auto& entry = entries[ticket];
        entry.info = std::move(info);
        woken.swap(entry.waiting);
        over.push_back(ticket);
        if (over.size() > remembered) {
            entries.erase(over.front());
            over.pop_front();
        }
    }
    for (const auto& [who, callback] : woken) {
        callback();
    }
}

TicketInfo Tickets::get(std::int64_t ticket) const {
    const std::lock_guard lock(mutex);
    const auto found = entries.find(ticket);
    if (found == entries.end()) {
        throw StorageError(TARN_STORAGE_ERROR_NOT_FOUND,
                           "There is no ticket " + std::to_string(ticket));
    }
    return found->second.info;
}

void Tickets::callAtEnd(std::int64_t ticket, const void* who, std::function<void()> callback) {
    {
        const std::lock_guard lock(mutex);
        const auto found = entries.find(ticket);
        if (found != entries.end() && !isOver(found->second.info.state)) {
            found->second.waiting[who] = std::move(callback);
            return;
        }
    }
    callback();
}

void Tickets::callOff(std::int64_t ticket, const void* who) {
    const std::lock_guard lock(mutex);
    if (const auto found = entries.find(ticket); found != entries.end()) {
        found->second.waiting.erase(who);
    }
}

}  // namespace tarn::peers::loop_storage
