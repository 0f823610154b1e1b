#pragma once

#include <functional>
#include <string>

#include "platform/cell/Cell.h"

namespace tarn::cell {

/// What was tried in a cell, by a copy of this process, which is gone when this returns.
struct Tried {
    CellReport report;
    std::string said;  ///< what the attempt returned; empty when it did not return
    int status = -1;   ///< of the copy, as waitpid gives it: 0 for an attempt that returned
};

/// `attempt` runs in the cell. Before there are threads.
Tried tryInCell(const Cell& cell, const std::function<std::string()>& attempt);

/// The name of errno when `result` is negative, else "done".
std::string outcomeOf(long result);

/// Tries to open it like that: "done", or the name of what came instead.
std::string outcomeOfOpening(const std::string& path, int flags);

}  // namespace tarn::cell
