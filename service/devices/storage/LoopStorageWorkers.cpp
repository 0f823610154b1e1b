// Who is attached to the tracks of a loop storage, and ending that.
#include <cstddef>
#include <cstring>

#include "proto/loop_storage.pb.h"
#include "service/devices/storage/LoopStorageDeviceController.h"
#include "service/devices/storage/LoopStorageReplies.h"

namespace tarn::service::devices {

namespace {

using WorkerList = StoragePointer<tarn_storage_worker_list>;
using WorkerRecords = StoragePointer<tarn_storage_worker_info_list>;

void fill(loop_storage::GetWorkersReply& reply, const tarn_storage_worker_info_list& records) {
    const auto count = tarn_storage_worker_info_list_get_count(&records);
    for (std::size_t i = 0; i < count; ++i) {
        const auto& record = *tarn_storage_worker_info_list_get(&records, i);
        auto& worker = *reply.add_workers();
        worker.set_worker_id(tarn_storage_worker_info_list_get_id(&records, i));
        worker.set_kind(record.kind == TARN_STORAGE_WORKER_READER   ? loop_storage::WORKER_READER
                        : record.kind == TARN_STORAGE_WORKER_WRITER ? loop_storage::WORKER_WRITER
                                                                    : loop_storage::WORKER_OTHER);
        worker.set_track_id(record.track_id);
        worker.set_name(record.name, ::strnlen(record.name, sizeof record.name));
        worker.set_address(tarn_storage_worker_info_list_get_address(&records, i));
    }
}

}  // namespace

bool LoopStorageDeviceController::handleGetWorkersRequest(const loop_storage::GetWorkersRequest&,
                                                          Reply& reply, std::string& error) {
    WorkerRecords records;
    const auto read = [&](auto* server, auto* failure) {
        const WorkerList workers(tarn_storage_worker_list_create(server, failure));
        if (workers) {
            records.reset(tarn_storage_worker_info_list_create(server, workers.get(), failure));
        }
    };
    if (!operate(read, error)) {
        return false;
    }
    fill(succeedWith<loop_storage::GetWorkersReply>(reply, Reply::GET_WORKERS), *records);
    return true;
}

bool LoopStorageDeviceController::handleEvictWorkerRequest(
    const loop_storage::EvictWorkerRequest& request, Reply& reply, std::string& error) {
    if (!request.has_worker_id()) {
        error = "The request names no worker";
        return false;
    }
    const auto evict = [&](auto* server, auto* failure) {
        tarn_storage_worker_evict(server, request.worker_id(), failure);
    };
    if (!operate(evict, error)) {
        return false;
    }
    succeed(reply, Reply::EVICT_WORKER);
    return true;
}

}  // namespace tarn::service::devices
