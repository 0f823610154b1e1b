#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/output/Output.h"
#include "cli/output/Table.h"
#include "cli/storage/StorageOptions.h"
#include "proto/loop_storage.pb.h"

namespace tarn::cli {

using namespace proto::loop_storage;

namespace {

std::string wordFor(WorkerKind kind) {
    switch (kind) {
        case WORKER_READER:
            return "reader";
        case WORKER_WRITER:
            return "writer";
        case WORKER_OTHER:
            break;
    }
    return "other";
}

nlohmann::ordered_json documentOfWorkers(const GetWorkersReply& answer) {
    auto workers = nlohmann::ordered_json::array();
    for (const auto& worker : answer.workers()) {
        workers.push_back({{"worker_id", std::to_string(worker.worker_id())},
                           {"kind", wordFor(worker.kind())},
                           {"track_id", std::to_string(worker.track_id())},
                           {"name", worker.name()},
                           {"address", worker.address()}});
    }
    return {{"workers", std::move(workers)}};
}

Table tableOf(const GetWorkersReply& answer) {
    Table table({"ID", "TRACK", "KIND", "NAME", "ADDRESS"});
    for (const auto& worker : answer.workers()) {
        table.add({std::to_string(worker.worker_id()), std::to_string(worker.track_id()),
                   wordFor(worker.kind()), worker.name(), worker.address()});
    }
    return table;
}

ExitStatus listWorkers(const Session& session) {
    Request request;
    request.set_type(Request::GET_WORKERS);
    const auto answer = session.service.operateStorage(request).GetExtension(GetWorkersReply::base);
    if (session.format == Format::Json) {
        session.output.document(documentOfWorkers(answer));
    } else if (answer.workers().empty()) {
        session.output.line("no workers");
    } else {
        session.output.table(tableOf(answer));
    }
    return ExitStatus::Done;
}

ExitStatus evictWorker(std::int64_t id, const Session& session) {
    Request request;
    request.set_type(Request::EVICT_WORKER);
    request.MutableExtension(EvictWorkerRequest::base)->set_worker_id(id);
    session.service.operateStorage(request);
    if (session.format == Format::Json) {
        session.output.document({{"worker_id", std::to_string(id)}, {"state", "evicted"}});
    } else {
        session.output.line("worker " + std::to_string(id) + " evicted");
    }
    return ExitStatus::Done;
}

}  // namespace

void addStorageWorkersCommand(CLI::App& storage, Action& chosen) {
    const auto id = std::make_shared<std::int64_t>(0);
    CLI::App* command =
        storage.add_subcommand("workers", "List who reads and writes tracks, and evict somebody");
    command->require_subcommand(0, 1);
    CLI::App* evict = command->add_subcommand(
        "evict", "End what a worker does at its track, which is free then for another one");
    addWorkerOption(*evict, *id);
    command->footer(
        "Examples:\n"
        "  tarnctl storage workers\n"
        "  tarnctl storage workers evict 12");
    command->callback([id, evict, &chosen] {
        const bool evicts = evict->parsed();
        chosen = [id, evicts](const Session& session) {
            return evicts ? evictWorker(*id, session) : listWorkers(session);
        };
    });
}

}  // namespace tarn::cli
