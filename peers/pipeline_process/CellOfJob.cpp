#include "peers/pipeline_process/CellOfJob.h"

#include "peers/pipeline_process/ElementRules.h"
#include "proto/pipeline_control.pb.h"

namespace tarn::peers {

using namespace tarn::proto::pipeline_control;

namespace {

cell::Cell cellOf(const PipelineCommand& command) {
    const auto& setup = command.cell();
    const bool named = setup.folders_are_named();
    return {.folders = named ? cell::Folders::Named : cell::Folders::AllButTheServices,
            .read = {setup.read_folders().begin(), setup.read_folders().end()},
            .write = {setup.write_folders().begin(), setup.write_folders().end()},
            .localSockets = usesLocalSockets(command.pipeline()) ? cell::LocalSockets::Allowed
                                                                 : cell::LocalSockets::Refused,
            .limits = {.memoryBytes = setup.memory_bytes(),
                       .processes = setup.processes(),
                       .descriptors = setup.descriptors()},
            .user = setup.user()};
}

}  // namespace

std::string enterCellOf(const PipelineCommand& command, PipelineReport& report,
                        const EnterCell& enter) {
    if (!command.has_cell()) {
        return {};
    }
    const auto became = enter(cellOf(command));
    report.set_cell(became.built);
    report.mutable_cell_lacks()->Add(became.missing.begin(), became.missing.end());
    report.mutable_cell_lacks()->Add(became.notes.begin(), became.notes.end());
    return command.cell().required() && !became.missing.empty()
               ? "the job's cell cannot be built: " + became.missing.front()
               : std::string();
}

}  // namespace tarn::peers
