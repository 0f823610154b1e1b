// The operations that are slow, and what has become of them.
#include "service/devices/storage/CreateTrackRunner.h"
#include "service/devices/storage/DeleteTrackRunner.h"
#include "service/devices/storage/LoopStorageDeviceController.h"
#include "service/devices/storage/LoopStorageReplies.h"
#include "service/devices/storage/ResizeTrackRunner.h"
#include "service/devices/storage/TrackTasks.h"

namespace tarn::service::devices {

namespace {

/// The status of an operation of the service's own.
void fill(loop_storage::Reply& reply, loop_storage::GetTicketStatusReply& answer,
          const TrackTasks::Found& task) {
    if (task.result.failed) {
        fail(reply, task.result.errorMessage);
        return;
    }
    answer.set_status(static_cast<loop_storage::TicketStatus>(task.result.status));
    if (task.createdTrackId) {
        answer.set_track_id(*task.createdTrackId);
    }
}

/// The same of one of the storage server's own.
void fill(loop_storage::Reply& reply, loop_storage::GetTicketStatusReply& answer, int state) {
    if (state < TARN_STORAGE_TICKET_QUEUED || state > TARN_STORAGE_TICKET_RUNNING) {
        fail(reply, "Unknown ticket status");
        return;
    }
    answer.set_status(static_cast<loop_storage::TicketStatus>(state + 1));
}

}  // namespace

// Always a proper reply: what went wrong stands in it.
bool LoopStorageDeviceController::handleGetTicketStatusRequest(
    const loop_storage::GetTicketStatusRequest& request, Reply& reply, std::string&) {
    auto& answer = succeedWith<loop_storage::GetTicketStatusReply>(reply, Reply::GET_TICKET_STATUS);
    answer.set_status(loop_storage::TICKET_NO_STATUS);
    if (const auto task = dependencies.tasks.find(request.ticket())) {
        fill(reply, answer, *task);
        return true;
    }
    int state = -1;
    std::string reason;
    const bool told = operate(
        [&](auto* server, auto* failure) {
            state = tarn_storage_ticket_get_info(server, request.ticket(), failure);
        },
        reason);
    if (told) {
        fill(reply, answer, state);
    } else {
        fail(reply, reason);
    }
    return true;
}

bool LoopStorageDeviceController::handleCreateTrackRequest(
    const loop_storage::CreateTrackRequest& request, Reply& reply, std::string&) {
    const auto runner = std::make_shared<CreateTrackRunner>(storage, request.size());
    const auto ticket = dependencies.tasks.add(runner);
    succeedWith<loop_storage::CreateTrackReply>(reply, Reply::CREATE_TRACK).set_ticket(ticket);
    runner->start();
    return true;
}

bool LoopStorageDeviceController::handleResizeTrackRequest(
    const loop_storage::ResizeTrackRequest& request, Reply& reply, std::string& error) {
    if (!namesTrack(request, error)) {
        return false;
    }
    const auto runner =
        std::make_shared<ResizeTrackRunner>(storage, request.track_id(), request.size());
    const auto ticket = dependencies.tasks.add(runner);
    succeedWith<loop_storage::ResizeTrackReply>(reply, Reply::RESIZE_TRACK).set_ticket(ticket);
    runner->start();
    return true;
}

bool LoopStorageDeviceController::handleDestroyTrackRequest(
    const loop_storage::DestroyTrackRequest& request, Reply& reply, std::string& error) {
    if (!namesTrack(request, error)) {
        return false;
    }
    const auto runner = std::make_shared<DeleteTrackRunner>(storage, request.track_id());
    const auto ticket = dependencies.tasks.add(runner);
    succeedWith<loop_storage::DestroyTrackReply>(reply, Reply::DESTROY_TRACK).set_ticket(ticket);
    runner->start();
    return true;
}

}  // namespace tarn::service::devices
