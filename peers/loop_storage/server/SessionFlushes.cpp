// Answers to a writer that wait for the disk.
#include <boost/asio/post.hpp>

#include "peers/loop_storage/server/Session.h"
#include "proto/storage_wire.pb.h"

namespace tarn::peers::loop_storage {

Session::Promise Session::promiseOf(const Request& request) {
    return request.durable() ? Promise::Disk : Promise::Memory;
}

// Answers come in the order of the requests: one that waits for the disk holds up those behind it.
void Session::acknowledge(Promise made) {
    if (made == Promise::Memory && promised.empty()) {
        send(Answer());
        return;
    }
    promised.push_back(made);
    if (flushing == 0) {
        flushSoon();
    }
}

// One at a time: what is promised meanwhile shares the next.
void Session::flushSoon() {
    flushing = promised.size();
    const auto held = writer->held();
    auto& queue = held->track().syncs();
    storage.runSoon(queue, [self = shared_from_this(), held, upTo = held->track().nextSequence()] {
        std::exception_ptr failure;
        try {
            held->track().flush(upTo);
        } catch (const std::exception&) {
            failure = std::current_exception();
        }
        boost::asio::post(self->stream.get_executor(),
                          self->handler([failure](Session& session) { session.flushed(failure); }));
    });
}

void Session::flushed(const std::exception_ptr& failure) {
    const auto kept = std::exchange(flushing, 0);
    if (!writer || state == State::Closed) {
        return;
    }
    try {
        if (failure) {
            std::rethrow_exception(failure);
        }
        promised.erase(promised.begin(), promised.begin() + static_cast<std::ptrdiff_t>(kept));
        for (std::size_t i = 0; i < kept; ++i) {
            send(Answer());
        }
        if (!promised.empty()) {
            flushSoon();
        }
    } catch (const std::exception& refusal) {
        fail(refusal);
    }
    goOn();
}

}  // namespace tarn::peers::loop_storage
