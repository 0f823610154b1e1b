#include "peers/loop_storage/server/ReaderRole.h"

#include <string>
#include <utility>

#include "peers/loop_storage/StorageError.h"
#include "platform/storage_wire/MessageParser.h"
#include "proto/storage_wire.pb.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr std::size_t mostAsked = 16;

std::string textFor(const Track::Reading& reading) {
    return reading.oldest
               ? "The ring has gone over what was to be read: its oldest time point is " +
                     std::to_string(*reading.oldest)
               : "What was to be read is gone, and the track is empty";
}

void tellLost(const Track::Reading& reading, ReaderRole::Answer& answer) {
    const bool isDamaged = reading.result == Track::ReadResult::Damaged;
    answer.set_error(isDamaged ? TARN_STORAGE_ERROR_DAMAGED : TARN_STORAGE_ERROR_UNREADABLE);
    answer.set_message("The frame of time point " + std::to_string(reading.frame.timePoint) +
                       (isDamaged ? " is damaged" : " cannot be read: " + reading.failure));
}

}  // namespace

ReaderRole::ReaderRole(std::shared_ptr<Attachment> held, Track::Origin origin,
                       std::int64_t timePoint)
    : attachment(std::move(held)),
      from(origin == Track::Origin::TimePoint ? std::optional(timePoint) : std::nullopt),
      sequence(attachment->track().begin(origin, timePoint)) {}

ReaderRole::~ReaderRole() {
    callOff();
}

void ReaderRole::callOff() {
    if (call != 0) {
        attachment->track().callOff(call);
        call = 0;
    }
}

void ReaderRole::ask(Wanted wanted) {
    if (asked.size() >= mostAsked) {
        throw storage_wire::WireError("More than " + std::to_string(mostAsked) +
                                      " frames are asked for at once");
    }
    asked.push_back({.wanted = wanted, .isAgain = false});
}

void ReaderRole::goBack(std::uint64_t place) {
    asked = {{.wanted = Wanted::Bytes, .isAgain = true}};
    sequence = place;
    ++round;
    if (state == State::OnDisk) {
        state = State::Answering;
    }
    callOff();  // it waits for another place
}

std::optional<ReaderRole::Answer> ReaderRole::next(std::vector<char>& payload) {
    while (!asked.empty() && state == State::Answering) {
        const auto reading = look(asked.front().wanted, payload);
        if (reading.result == Track::ReadResult::NoneYet) {
            break;
        }
        if (reading.result == Track::ReadResult::OnDisk) {
            state = State::OnDisk;
        } else if (auto answer = take(reading)) {
            return answer;
        }
    }
    return std::nullopt;
}

Track::Reading ReaderRole::look(Wanted wanted, std::vector<char>& payload) const {
    if (wanted == Wanted::Bytes) {
        return attachment->track().readFromMemory(sequence, payload);
    }
    payload.clear();
    return attachment->track().find(sequence);
}

std::optional<ReaderRole::Answer> ReaderRole::take(const Track::Reading& reading) {
    sequence = reading.next;
    auto answer = answerTo(reading, asked.front());
    if (answer) {
        asked.pop_front();
    }
    return answer;
}

std::shared_ptr<ReaderRole::Fetch> ReaderRole::beginFetch(std::vector<char> memory) {
    auto fetch = std::make_shared<Fetch>();
    fetch->bytes = std::move(memory);
    fetch->attachment = attachment;
    fetch->sequence = sequence;
    fetch->round = round;
    state = State::Fetching;
    return fetch;
}

// What was fetched before the reader went back is of the wrong place.
std::optional<ReaderRole::Answer> ReaderRole::endFetch(const Fetch& fetch) {
    state = State::Answering;
    return fetch.round == round ? take(fetch.reading) : std::nullopt;
}

// Nothing for a frame that comes before the time point to begin at, which lay in the future then.
std::optional<ReaderRole::Answer> ReaderRole::answerTo(const Track::Reading& reading,
                                                       const Ask& ask) const {
    Answer answer;
    if (ask.isAgain) {
        answer.set_again(true);
    }
    if (reading.result == Track::ReadResult::Overtaken) {
        answer.set_error(TARN_STORAGE_ERROR_OVERTAKEN);
        answer.set_message(textFor(reading));
        if (reading.oldest) {
            answer.set_time_point(*reading.oldest);
        }
        return answer;
    }
    if (from && reading.frame.timePoint < *from) {
        return std::nullopt;
    }
    answer.set_time_point(reading.frame.timePoint);
    if (reading.result != Track::ReadResult::Frame) {
        tellLost(reading, answer);
        return answer;
    }
    if (ask.wanted == Wanted::Place) {
        answer.set_position(reading.frame.position);
        answer.set_size(reading.frame.size);
        answer.set_sequence(reading.frame.sequence);
        if (reading.frame.checksum) {
            answer.set_checksum(*reading.frame.checksum);
        }
    }
    return answer;
}

void ReaderRole::callWhenReadable(std::function<void()> callback) {
    if (!asked.empty() && call == 0 && state == State::Answering) {
        call = attachment->track().callWhenReadable(sequence, std::move(callback));
    }
}

}  // namespace tarn::peers::loop_storage
