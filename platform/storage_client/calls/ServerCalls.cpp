#include <algorithm>
#include <string>
#include <vector>

#include "platform/storage_client/calls/ErrorObject.h"
#include "platform/storage_client/connection/ServerConnection.h"
#include "proto/storage_wire.pb.h"

struct tarn_storage_worker_list {
    std::vector<std::int64_t> ids;
};

struct tarn_storage_worker_info_list {
    struct Entry {
        std::int64_t id;
        std::string address;
        tarn_storage_worker_info record;
    };
    std::vector<Entry> entries;
};

namespace {

using namespace tarn::storage_client;

ServerConnection::Answer listWorkers(tarn_storage_connection* connection) {
    ServerConnection::Request request;
    request.set_type(ServerConnection::Request::LIST_WORKERS);
    return checked(connection).ask(request);
}

tarn_storage_worker_info recordOf(const tarn::proto::storage_wire::Worker& worker) {
    tarn_storage_worker_info record{};
    record.kind = worker.kind();
    record.track_id = worker.track_id();
    worker.name().copy(record.name, sizeof record.name - 1);
    return record;
}

}  // namespace

int64_t tarn_storage_get_remaining_space(tarn_storage_connection* connection,
                                         tarn_storage_error* error) {
    return guarded<int64_t>(error, -1, [&] {
        ServerConnection::Request request;
        request.set_type(ServerConnection::Request::REMAINING_SPACE);
        return checked(connection).ask(request).value();
    });
}

tarn_storage_worker_list* tarn_storage_worker_list_create(tarn_storage_connection* connection,
                                                          tarn_storage_error* error) {
    return guarded<tarn_storage_worker_list*>(error, nullptr, [&] {
        const auto answer = listWorkers(connection);
        auto list = std::make_unique<tarn_storage_worker_list>();
        for (const auto& worker : answer.worker()) {
            list->ids.push_back(worker.id());
        }
        return list.release();
    });
}

void tarn_storage_worker_list_destroy(tarn_storage_worker_list* list) {
    delete list;
}

size_t tarn_storage_worker_list_get_count(const tarn_storage_worker_list* list) {
    return list->ids.size();
}

int64_t tarn_storage_worker_list_get_id(const tarn_storage_worker_list* list, size_t index) {
    return index < list->ids.size() ? list->ids[index] : -1;
}

tarn_storage_worker_info_list* tarn_storage_worker_info_list_create(
    tarn_storage_connection* connection, const tarn_storage_worker_list* workers,
    tarn_storage_error* error) {
    return guarded<tarn_storage_worker_info_list*>(error, nullptr, [&] {
        if (workers == nullptr) {
            throw Failure(TARN_STORAGE_ERROR_ARGUMENT, "There is no list of workers");
        }
        const auto answer = listWorkers(connection);
        auto list = std::make_unique<tarn_storage_worker_info_list>();
        for (const auto& worker : answer.worker()) {
            const auto& ids = workers->ids;
            if (std::find(ids.begin(), ids.end(), worker.id()) != ids.end()) {
                list->entries.push_back({worker.id(), worker.address(), recordOf(worker)});
            }
        }
        return list.release();
    });
}

void tarn_storage_worker_info_list_destroy(tarn_storage_worker_info_list* list) {
    delete list;
}

size_t tarn_storage_worker_info_list_get_count(const tarn_storage_worker_info_list* list) {
    return list->entries.size();
}

const tarn_storage_worker_info* tarn_storage_worker_info_list_get(
    const tarn_storage_worker_info_list* list, size_t index) {
    return index < list->entries.size() ? &list->entries[index].record : nullptr;
}

int64_t tarn_storage_worker_info_list_get_id(const tarn_storage_worker_info_list* list,
                                             size_t index) {
    return index < list->entries.size() ? list->entries[index].id : -1;
}

const char* tarn_storage_worker_info_list_get_address(const tarn_storage_worker_info_list* list,
                                                      size_t index) {
    return index < list->entries.size() ? list->entries[index].address.c_str() : nullptr;
}

int tarn_storage_worker_evict(tarn_storage_connection* connection, int64_t worker_id,
                              tarn_storage_error* error) {
    return guarded(error, -1, [&] {
        ServerConnection::Request request;
        request.set_type(ServerConnection::Request::EVICT_WORKER);
        request.set_worker_id(worker_id);
        checked(connection).ask(request);
        return 0;
    });
}
