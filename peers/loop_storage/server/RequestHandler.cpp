#include "peers/loop_storage/server/RequestHandler.h"

#include "peers/loop_storage/StorageError.h"
#include "platform/utils/Printable.h"
#include "proto/storage_wire.pb.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr int mostDescriptions = 64;
// What a client does not take stays in memory.
constexpr std::size_t mostDescriptionBytes = 256U << 10U;

[[noreturn]] void refuse(const std::string& message) {
    throw StorageError(TARN_STORAGE_ERROR_ARGUMENT, message);
}

std::int64_t trackOf(const Request& request) {
    if (request.track_id_size() != 1) {
        refuse("The request names " + std::to_string(request.track_id_size()) +
               " tracks instead of one");
    }
    return request.track_id(0);
}

int kindNumber(Track::WorkerKind kind) {
    return kind == Track::WorkerKind::Reader ? TARN_STORAGE_WORKER_READER
                                             : TARN_STORAGE_WORKER_WRITER;
}

Answer listWorkers(Storage& storage) {
    Answer answer;
    for (const auto& [id, worker] : storage.workers().all()) {
        auto* const record = answer.add_worker();
        record->set_id(id);
        record->set_kind(kindNumber(worker.kind));
        record->set_track_id(worker.track);
        record->set_name(worker.client.name);
        record->set_address(worker.client.address);
    }
    return answer;
}

Answer listTracks(Storage& storage) {
    Answer answer;
    for (const auto id : storage.catalogue().ids()) {
        answer.add_track_id(id);
    }
    return answer;
}

void describe(const Track& track, tarn::proto::storage_wire::Track& record) {
    const auto description = track.describe();
    record.set_id(track.id());
    record.set_size(description.size);
    if (description.oldest) {
        record.set_oldest(*description.oldest);
        record.set_newest(*description.newest);
    }
    if (!description.failure.empty()) {
        record.set_failure(description.failure);
    }
    record.set_damaged_frames(description.damagedFrames);
    record.set_errors(description.errors);
    for (const auto& [name, value] : description.properties) {
        auto* const property = record.add_property();
        property->set_name(name);
        property->set_value(value);
    }
}

void describe(std::int64_t id, const Catalogue::Unopened& track,
              tarn::proto::storage_wire::Track& record) {
    record.set_id(id);
    record.set_size(track.size);
    record.set_failure(track.reason);
}

Answer describeTracks(Storage& storage, const Request& request) {
    if (request.track_id_size() > mostDescriptions) {
        refuse("At most " + std::to_string(mostDescriptions) + " tracks are described at once");
    }
    Answer answer;
    std::size_t size = 0;
    for (const auto id : request.track_id()) {
        if (size >= mostDescriptionBytes) {
            break;
        }
        if (const auto track = storage.catalogue().find(id)) {
            describe(*track, *answer.add_track());
        } else if (const auto unopened = storage.catalogue().findUnopened(id)) {
            describe(id, *unopened, *answer.add_track());
        } else {
            continue;
        }
        size += answer.track(answer.track_size() - 1).ByteSizeLong();
    }
    return answer;
}

Answer evictWorker(Storage& storage, const Request& request) {
    if (!storage.workers().evict(request.worker_id())) {
        throw StorageError(TARN_STORAGE_ERROR_NOT_FOUND,
                           "There is no worker " + std::to_string(request.worker_id()));
    }
    return {};
}

Answer ticketAnswer(std::int64_t ticket) {
    Answer answer;
    answer.set_ticket(ticket);
    return answer;
}

Answer resize(Storage& storage, const Request& request) {
    return ticketAnswer(storage.resize(trackOf(request), request.size()));
}

Answer destroy(Storage& storage, const Request& request) {
    return ticketAnswer(storage.destroy(trackOf(request)));
}

// On a thread that may wait for the disk; a failure is the answer.
void answerSoon(Storage& storage, DiskQueue& queue, const Answered& answered,
                std::function<Answer()> work) {
    storage.runSoon(queue, [answered, work = std::move(work)] {
        Answer answer;
        try {
            answer = work();
        } catch (const std::exception& failure) {
            answer = failureAnswer(failure);
        }
        answered(answer);
    });
}

void changeSoon(Storage& storage, const Request& request, const Answered& answered,
                std::function<void(Track&)> change) {
    const auto track = storage.catalogue().get(trackOf(request));
    answerSoon(storage, track->syncs(), answered, [track, change = std::move(change)] {
        change(*track);
        return Answer();
    });
}

void remainingSpace(Storage& storage, const Answered& answered) {
    answerSoon(storage, storage.directoryQueue(), answered, [&storage] {
        Answer answer;
        answer.set_value(storage.catalogue().remainingSpace());
        return answer;
    });
}

void clear(Storage& storage, const Request& request, const Answered& answered) {
    changeSoon(storage, request, answered, [](Track& track) { track.clear(); });
}

void setProperties(Storage& storage, const Request& request, const Answered& answered) {
    Properties changes;
    for (const auto& property : request.property()) {
        changes[property.name()] = property.value();
    }
    checkProperties(changes);
    changeSoon(storage, request, answered,
               [changes = std::move(changes)](Track& track) { track.setProperties(changes); });
}

void removeProperties(Storage& storage, const Request& request, const Answered& answered) {
    std::vector<std::string> names;
    for (const auto& property : request.property()) {
        names.push_back(property.name());
    }
    changeSoon(storage, request, answered,
               [names = std::move(names)](Track& track) { track.removeProperties(names); });
}

}  // namespace

Answer failureAnswer(const std::exception& failure) {
    Answer answer;
    answer.set_error(typeOf(failure));
    answer.set_message(failure.what());
    return answer;
}

void handleRequest(Storage& storage, const Request& request, const Answered& answered) {
    switch (request.type()) {
        case Request::REMAINING_SPACE:
            return remainingSpace(storage, answered);
        case Request::LIST_WORKERS:
            return answered(listWorkers(storage));
        case Request::LIST_TRACKS:
            return answered(listTracks(storage));
        case Request::DESCRIBE_TRACKS:
            return answered(describeTracks(storage, request));
        case Request::EVICT_WORKER:
            return answered(evictWorker(storage, request));
        case Request::CREATE_TRACK:
            return answered(ticketAnswer(storage.create(request.size())));
        case Request::RESIZE_TRACK:
            return answered(resize(storage, request));
        case Request::DESTROY_TRACK:
            return answered(destroy(storage, request));
        case Request::CLEAR_TRACK:
            return clear(storage, request, answered);
        case Request::SET_PROPERTIES:
            return setProperties(storage, request, answered);
        case Request::REMOVE_PROPERTIES:
            return removeProperties(storage, request, answered);
        default:
            refuse("The server knows no request of this type");
    }
}

}  // namespace tarn::peers::loop_storage
