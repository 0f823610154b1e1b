#include <CLI/CLI.hpp>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>

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
    return show(
        session, [&] { return documentOfWorkers(answer); },
        [&](Output& output) { output.table(tableOf(answer), "no workers"); });
}

ExitStatus evictWorker(std::int64_t id, const Session& session) {
    Request request;
    request.set_type(Request::EVICT_WORKER);
    request.MutableExtension(EvictWorkerRequest::base)->set_worker_id(id);
    session.service.operateStorage(request);
    const auto number = std::to_string(id);
    return show(
        session,
        [&] {
            return nlohmann::ordered_json{{"worker_id", number}, {"state", "evicted"}};
        },
        [&](Output& output) { output.line("worker " + number + " evicted"); });
}

struct WorkersOptions {
    std::int64_t id = 0;
    bool evict = false;
};

ExitStatus listOrEvict(const WorkersOptions& options, const Session& session) {
    return options.evict ? evictWorker(options.id, session) : listWorkers(session);
}

void addOptions(CLI::App& line, WorkersOptions& options) {
    line.require_subcommand(0, 1);
    CLI::App* const evict = line.add_subcommand(
        "evict", "End what a worker does at its track, which is free then for another one");
    addWorkerOption(*evict, options.id);
    evict->callback([&options] { options.evict = true; });
}

}  // namespace

Command storageWorkersCommand() {
    return {.name = "workers",
            .purpose = "List who reads and writes tracks, and evict somebody",
            .footer =
                "Examples:\n"
                "  tarnctl storage workers\n"
                "  tarnctl storage workers evict 12",
            .prepare = with(addOptions, listOrEvict)};
}

}  // namespace tarn::cli
