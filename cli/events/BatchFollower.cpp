#include "cli/events/BatchFollower.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "cli/CommandError.h"
#include "cli/Interrupt.h"
#include "proto/service_event.pb.h"

namespace tarn::cli {

using namespace std::chrono_literals;
using proto::service_event::ServiceEventBatch;
using Received = BatchSource::Received;
using Wanted = BatchListener::Wanted;

namespace {

constexpr std::chrono::milliseconds longestWait = 1h;

std::string inSeconds(std::chrono::milliseconds bound) {
    return fmt::format("{:g} s", std::chrono::duration<double>(bound).count());
}

}  // namespace

BatchFollower::BatchFollower(BatchSource& source, Settings settings)
    : source(source),
      settings(std::move(settings)),
      silentFrom(Clock::now() + this->settings.bound) {}

ExitStatus BatchFollower::follow(BatchListener& listener, const Interrupt& interrupt) {
    ServiceEventBatch batch;
    while (Clock::now() < settings.until) {
        if (interrupt.requested()) {
            return ExitStatus::Interrupted;
        }
        const Received received = source.next(batch, nextWait(), interrupt.descriptor());
        if (received == Received::Batch && take(batch, listener) == Wanted::Enough) {
            return ExitStatus::Done;
        }
        if (received == Received::Garbage) {
            listener.notice("something unreadable came from " + settings.endpoint);
        }
        checkSilence(listener);
    }
    return ExitStatus::NoAnswer;
}

Wanted BatchFollower::take(const ServiceEventBatch& batch, BatchListener& listener) {
    const auto finding = sequence.next(batch);
    heard(listener);
    if (finding.lost > 0) {
        listener.notice(fmt::format("{} {} lost", finding.lost,
                                    finding.lost == 1 ? "batch was" : "batches were"));
    }
    if (finding.otherGateway) {
        listener.notice("the gateway was started again: batches may be lost");
    }
    if (finding.otherService) {
        listener.notice("the service was started again: batches may be lost");
    }
    return finding.kind == BatchSequence::Finding::Kind::Nothing ? Wanted::More
                                                                 : listener.batch(batch, finding);
}

void BatchFollower::heard(BatchListener& listener) {
    if (std::exchange(state, State::Hearing) == State::Silent) {
        listener.notice("batches come again");
    }
    silentFrom = Clock::now() + settings.bound;
}

void BatchFollower::checkSilence(BatchListener& listener) {
    const auto now = Clock::now();
    if (state == State::Awaiting && settings.patience == Patience::UntilFirst &&
        now >= silentFrom) {
        throw CommandError(ExitStatus::NoAnswer, "nothing came from " + settings.endpoint +
                                                     " within " + inSeconds(settings.bound) + "; " +
                                                     settings.remedy);
    }
    if (state != State::Silent && now >= silentFrom && now < settings.until) {
        state = State::Silent;
        listener.notice("nothing has come from " + settings.endpoint + " for " +
                        inSeconds(settings.bound) + "; " + settings.remedy);
    }
}

std::chrono::milliseconds BatchFollower::nextWait() const {
    const auto then =
        std::min(settings.until, state == State::Silent ? Clock::time_point::max() : silentFrom);
    const auto now = Clock::now();
    if (then - now >= longestWait) {
        return longestWait;
    }
    return std::max(0ms, std::chrono::ceil<std::chrono::milliseconds>(then - now));
}

}  // namespace tarn::cli
