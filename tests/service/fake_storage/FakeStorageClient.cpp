// The functions of the storage client, on FakeStorage.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <optional>

#include "tests/service/fake_storage/FakeNetwork.h"
#include "tests/service/fake_storage/FakeStorage.h"

using tarn::test::FakeNetwork;
using tarn::test::FakeStorage;

struct tarn_storage_error {
    int type = TARN_STORAGE_OK;
    std::string message;
};

struct tarn_storage_connection {
    FakeStorage& storage;
    bool interrupted = false;  // guarded by the storage's mutex
};

struct tarn_storage_worker_list {
    std::size_t count = 0;
};

struct tarn_storage_worker_info_list {
    std::vector<tarn_storage_worker_info> workers;
};

struct tarn_storage_track_list {
    std::vector<std::int64_t> ids;
};

struct tarn_storage_property_list {
    FakeStorage::Properties properties;
};

namespace {

struct Failure {
    int type;
    std::string message;
};

void report(tarn_storage_error& error, const Failure& failure) {
    error.type = failure.type;
    error.message = failure.message;
}

/// Does `work` with the state of the storage; when that throws a Failure the result is `failed`.
template <typename Result, typename Work>
Result with(FakeStorage& storage, const bool& interrupted, const char* function,
            tarn_storage_error* error, Result failed, const Work& work) {
    std::unique_lock lock(storage.mutex);
    report(*error, {TARN_STORAGE_OK, ""});
    try {
        if (storage.state.down) {
            throw Failure{TARN_STORAGE_ERROR_CONNECTION, "The storage server has gone"};
        }
        if (!storage.waitWhileHeld(function, lock, interrupted)) {
            throw Failure{TARN_STORAGE_ERROR_CONNECTION, "The connection was interrupted"};
        }
        const auto failure = storage.state.failures.find(function);
        if (failure != storage.state.failures.end()) {
            throw Failure{TARN_STORAGE_ERROR_SERVER, failure->second};
        }
        return work(storage.state);
    } catch (const Failure& failure) {
        report(*error, failure);
        return failed;
    }
}

template <typename Result, typename Work>
Result with(const tarn_storage_connection* connection, const char* function,
            tarn_storage_error* error, Result failed, const Work& work) {
    return with(connection->storage, connection->interrupted, function, error, failed, work);
}

FakeStorage::Track& trackOf(FakeStorage::State& state, std::int64_t id) {
    const auto found = state.tracks.find(id);
    if (found == state.tracks.end()) {
        throw Failure{TARN_STORAGE_ERROR_NOT_FOUND, "There is no track " + std::to_string(id)};
    }
    return found->second;
}

/// The result of an operation, for who waits so long.
std::int64_t awaitEnd(FakeStorage::State& state, std::int64_t ticket, unsigned timeout_ms) {
    const auto found = state.operations.find(ticket);
    if (found == state.operations.end()) {
        throw Failure{TARN_STORAGE_ERROR_NOT_FOUND, "There is no ticket " + std::to_string(ticket)};
    }
    const auto patience = timeout_ms == 0 ? std::chrono::milliseconds(std::chrono::minutes(10))
                                          : std::chrono::milliseconds(timeout_ms);
    auto& left = found->second.left;
    left -= std::min(left, patience);
    if (left > std::chrono::milliseconds(0)) {
        throw Failure{
            TARN_STORAGE_ERROR_TIMEOUT,
            "The operation with ticket " + std::to_string(ticket) + " has not ended in time"};
    }
    return found->second.result;
}

/// One that has been done, as far as the tracks tell.
std::int64_t operate(FakeStorage::State& state, std::int64_t result, unsigned timeout_ms,
                     std::int64_t* ticket) {
    const auto number = static_cast<std::int64_t>(state.operations.size()) + 1;
    state.operations[number] = {.result = result, .left = state.operationsTake};
    if (ticket != nullptr) {
        *ticket = number;
    }
    return awaitEnd(state, number, timeout_ms);
}

tarn_storage_connection* connect(const std::string& place, tarn_storage_error* error) {
    FakeStorage* const storage = FakeNetwork::find(place);
    if (!storage) {
        report(*error, {TARN_STORAGE_ERROR_CONNECTION, "Nobody listens at " + place});
        return nullptr;
    }
    return with(*storage, false, "connect", error, static_cast<tarn_storage_connection*>(nullptr),
                [storage](FakeStorage::State& state) {
                    ++state.openConnections;
                    ++state.connectionsMade;
                    return new tarn_storage_connection{*storage};
                });
}

}  // namespace

void tarn_storage_get_version(unsigned* major, unsigned* minor, unsigned* patch) {
    *major = 7;
    *minor = 8;
    *patch = 9;
}

tarn_storage_error* tarn_storage_error_create() {
    return new tarn_storage_error;
}

void tarn_storage_error_destroy(tarn_storage_error* error) {
    delete error;
}

int tarn_storage_error_get_type(const tarn_storage_error* error) {
    return error->type;
}

const char* tarn_storage_error_get_message(const tarn_storage_error* error) {
    return error->message.c_str();
}

tarn_storage_connection* tarn_storage_connection_create_tcp(const char* address, uint16_t port,
                                                            unsigned, tarn_storage_error* error) {
    return connect(FakeNetwork::place(address, port), error);
}

tarn_storage_connection* tarn_storage_connection_create_uds(const char* path,
                                                            tarn_storage_error* error) {
    return connect(FakeNetwork::place(path, 0), error);
}

tarn_storage_connection* tarn_storage_connection_create_tls(const char* address, uint16_t port,
                                                            const char*, const char*, unsigned,
                                                            tarn_storage_error* error) {
    return connect(FakeNetwork::place(address, port), error);
}

int tarn_storage_set_certificate(const char*, tarn_storage_error* error) {
    *error = {};
    return 0;
}

int tarn_storage_set_server(const char*, uint16_t, const char*, tarn_storage_error* error) {
    *error = {};
    return 0;
}

void tarn_storage_connection_destroy(tarn_storage_connection* connection) {
    if (connection) {
        const std::lock_guard lock(connection->storage.mutex);
        --connection->storage.state.openConnections;
    }
    delete connection;
}

void tarn_storage_connection_interrupt(tarn_storage_connection* connection) {
    connection->storage.interrupt(connection->interrupted);
}

int64_t tarn_storage_get_remaining_space(tarn_storage_connection* connection,
                                         tarn_storage_error* error) {
    return with(connection, __func__, error, int64_t{-1},
                [](FakeStorage::State& state) { return state.space; });
}

tarn_storage_worker_list* tarn_storage_worker_list_create(tarn_storage_connection* connection,
                                                          tarn_storage_error* error) {
    return with(connection, __func__, error, static_cast<tarn_storage_worker_list*>(nullptr),
                [](FakeStorage::State& state) {
                    return new tarn_storage_worker_list{state.workers.size()};
                });
}

void tarn_storage_worker_list_destroy(tarn_storage_worker_list* list) {
    delete list;
}

size_t tarn_storage_worker_list_get_count(const tarn_storage_worker_list* list) {
    return list->count;
}

int64_t tarn_storage_worker_list_get_id(const tarn_storage_worker_list*, size_t index) {
    return static_cast<int64_t>(index);
}

tarn_storage_worker_info_list* tarn_storage_worker_info_list_create(
    tarn_storage_connection* connection, const tarn_storage_worker_list*,
    tarn_storage_error* error) {
    return with(
        connection, __func__, error, static_cast<tarn_storage_worker_info_list*>(nullptr),
        [](FakeStorage::State& state) { return new tarn_storage_worker_info_list{state.workers}; });
}

void tarn_storage_worker_info_list_destroy(tarn_storage_worker_info_list* list) {
    delete list;
}

size_t tarn_storage_worker_info_list_get_count(const tarn_storage_worker_info_list* list) {
    return list->workers.size();
}

const tarn_storage_worker_info* tarn_storage_worker_info_list_get(
    const tarn_storage_worker_info_list* list, size_t index) {
    return &list->workers.at(index);
}

int64_t tarn_storage_worker_info_list_get_id(const tarn_storage_worker_info_list*, size_t index) {
    return static_cast<int64_t>(index);
}

const char* tarn_storage_worker_info_list_get_address(const tarn_storage_worker_info_list*,
                                                      size_t) {
    return "process 1234";
}

int tarn_storage_worker_evict(tarn_storage_connection* connection, int64_t worker_id,
                              tarn_storage_error* error) {
    return with(connection, __func__, error, -1, [worker_id](FakeStorage::State& state) {
        if (worker_id < 0 || static_cast<std::size_t>(worker_id) >= state.workers.size()) {
            throw Failure{TARN_STORAGE_ERROR_NOT_FOUND,
                          "There is no worker " + std::to_string(worker_id)};
        }
        state.workers.erase(state.workers.begin() + worker_id);
        return 0;
    });
}

tarn_storage_track_list* tarn_storage_track_list_create(tarn_storage_connection* connection,
                                                        tarn_storage_error* error) {
    return with(connection, __func__, error, static_cast<tarn_storage_track_list*>(nullptr),
                [](FakeStorage::State& state) {
                    auto* const list = new tarn_storage_track_list;
                    for (const auto& [id, track] : state.tracks) {
                        list->ids.push_back(id);
                    }
                    return list;
                });
}

void tarn_storage_track_list_destroy(tarn_storage_track_list* list) {
    delete list;
}

size_t tarn_storage_track_list_get_count(const tarn_storage_track_list* list) {
    return list->ids.size();
}

int64_t tarn_storage_track_list_get_id(const tarn_storage_track_list* list, size_t index) {
    return list->ids.at(index);
}

int64_t tarn_storage_track_create(tarn_storage_connection* connection, uint64_t size,
                                  unsigned timeout_ms, int64_t* ticket, tarn_storage_error* error) {
    return with(connection, __func__, error, int64_t{-1}, [&](FakeStorage::State& state) {
        state.tracks[state.nextTrack].size = size;
        return operate(state, state.nextTrack++, timeout_ms, ticket);
    });
}

int64_t tarn_storage_track_resize(tarn_storage_connection* connection, int64_t track_id,
                                  uint64_t size, unsigned timeout_ms, int64_t* ticket,
                                  tarn_storage_error* error) {
    return with(connection, __func__, error, int64_t{-1}, [&](FakeStorage::State& state) {
        auto& track = trackOf(state, track_id);
        track.size = state.resizedTo != 0 ? state.resizedTo : size;
        return operate(state, static_cast<int64_t>(track.size), timeout_ms, ticket);
    });
}

int tarn_storage_track_destroy(tarn_storage_connection* connection, int64_t track_id,
                               unsigned timeout_ms, int64_t* ticket, tarn_storage_error* error) {
    return with(connection, __func__, error, -1, [&](FakeStorage::State& state) {
        trackOf(state, track_id);
        state.tracks.erase(track_id);
        operate(state, track_id, timeout_ms, ticket);
        return 0;
    });
}

int64_t tarn_storage_ticket_wait(tarn_storage_connection* connection, int64_t ticket,
                                 unsigned timeout_ms, tarn_storage_error* error) {
    return with(connection, __func__, error, int64_t{-1},
                [&](FakeStorage::State& state) { return awaitEnd(state, ticket, timeout_ms); });
}

int tarn_storage_track_clear(tarn_storage_connection* connection, int64_t track_id,
                             tarn_storage_error* error) {
    return with(connection, __func__, error, -1, [track_id](FakeStorage::State& state) {
        auto& track = trackOf(state, track_id);
        track.beginning = -1;
        track.end = -1;
        return 0;
    });
}

int64_t tarn_storage_track_get_size(tarn_storage_connection* connection, int64_t track_id,
                                    tarn_storage_error* error) {
    return with(connection, __func__, error, int64_t{-1}, [track_id](FakeStorage::State& state) {
        return static_cast<int64_t>(trackOf(state, track_id).size);
    });
}

int64_t tarn_storage_track_get_beginning(tarn_storage_connection* connection, int64_t track_id,
                                         tarn_storage_error* error) {
    return with(connection, __func__, error, int64_t{-1}, [track_id](FakeStorage::State& state) {
        return trackOf(state, track_id).beginning;
    });
}

int64_t tarn_storage_track_get_end(tarn_storage_connection* connection, int64_t track_id,
                                   tarn_storage_error* error) {
    return with(connection, __func__, error, int64_t{-1},
                [track_id](FakeStorage::State& state) { return trackOf(state, track_id).end; });
}

int64_t tarn_storage_track_get_failure(tarn_storage_connection* connection, int64_t track_id,
                                       char* text, size_t size, tarn_storage_error* error) {
    return with(connection, __func__, error, int64_t{-1}, [&](FakeStorage::State& state) {
        const auto& failure = trackOf(state, track_id).failure;
        std::snprintf(text, size, "%s", failure.c_str());
        return static_cast<int64_t>(failure.size());
    });
}

int64_t tarn_storage_track_get_errors(tarn_storage_connection* connection, int64_t track_id,
                                      tarn_storage_error* error) {
    return with(connection, __func__, error, int64_t{-1},
                [track_id](FakeStorage::State& state) { return trackOf(state, track_id).errors; });
}

tarn_storage_property_list* tarn_storage_property_list_create() {
    return new tarn_storage_property_list;
}

void tarn_storage_property_list_destroy(tarn_storage_property_list* list) {
    delete list;
}

int tarn_storage_property_list_set(tarn_storage_property_list* list, const char* name,
                                   const char* value) {
    list->properties[name] = value;
    return 0;
}

size_t tarn_storage_property_list_get_count(const tarn_storage_property_list* list) {
    return list->properties.size();
}

const char* tarn_storage_property_list_get_name(const tarn_storage_property_list* list,
                                                size_t index) {
    return std::next(list->properties.begin(), static_cast<std::ptrdiff_t>(index))->first.c_str();
}

const char* tarn_storage_property_list_get_value(const tarn_storage_property_list* list,
                                                 size_t index) {
    return std::next(list->properties.begin(), static_cast<std::ptrdiff_t>(index))->second.c_str();
}

tarn_storage_property_list* tarn_storage_track_get_properties(tarn_storage_connection* connection,
                                                              int64_t track_id,
                                                              tarn_storage_error* error) {
    return with(connection, __func__, error, static_cast<tarn_storage_property_list*>(nullptr),
                [track_id](FakeStorage::State& state) {
                    return new tarn_storage_property_list{trackOf(state, track_id).properties};
                });
}

int tarn_storage_track_set_properties(tarn_storage_connection* connection, int64_t track_id,
                                      const tarn_storage_property_list* properties,
                                      tarn_storage_error* error) {
    return with(connection, __func__, error, -1, [&](FakeStorage::State& state) {
        auto& track = trackOf(state, track_id);
        for (const auto& [name, value] : properties->properties) {
            track.properties[name] = value;
        }
        return 0;
    });
}

int tarn_storage_track_remove_properties(tarn_storage_connection* connection, int64_t track_id,
                                         const char* const* names, size_t count,
                                         tarn_storage_error* error) {
    return with(connection, __func__, error, -1, [&](FakeStorage::State& state) {
        auto& track = trackOf(state, track_id);
        for (std::size_t i = 0; i < count; ++i) {
            track.properties.erase(names[i]);
        }
        return 0;
    });
}

int tarn_storage_ticket_get_info(tarn_storage_connection* connection, int64_t ticket,
                                 tarn_storage_error* error) {
    return with(connection, __func__, error, -1, [ticket](FakeStorage::State& state) {
        const auto found = state.tickets.find(ticket);
        if (found == state.tickets.end()) {
            throw Failure{TARN_STORAGE_ERROR_NOT_FOUND,
                          "There is no ticket " + std::to_string(ticket)};
        }
        return found->second;
    });
}
