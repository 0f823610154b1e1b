#pragma once

namespace tarn::gateway {

/// Tells the service manager that started this process, if one did and asks for it, that the
/// endpoints can be reached now: the service is started only then, since it looks for a receiver of
/// its events once. A failure is logged.
void announceReadiness();

}  // namespace tarn::gateway
