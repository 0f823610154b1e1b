#pragma once

#include <functional>
#include <string>

#include "platform/cell/Cell.h"
#include "proto/pipeline_control.fwd.h"

namespace tarn::peers {

/// How a process enters its cell: cell::enter, or in tests something that can be left again.
using EnterCell = std::function<cell::CellReport(const cell::Cell&)>;

/// Enters the cell that a command to parse brings, if it brings one, and writes into `report` what
/// became of it. Not empty: why the pipeline must not run.
std::string enterCellOf(const tarn::proto::pipeline_control::PipelineCommand& command,
                        tarn::proto::pipeline_control::PipelineReport& report,
                        const EnterCell& enter);

}  // namespace tarn::peers
