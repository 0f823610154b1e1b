#pragma once

namespace tarn::program {

/// Tells the service manager that started this process, if one did and asks for it, that the
/// program's endpoints can be reached now: what is started after it may count on them. A failure is
/// logged.
void announceReadiness();

}  // namespace tarn::program
