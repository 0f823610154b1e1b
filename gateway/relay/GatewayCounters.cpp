#include "gateway/relay/GatewayCounters.h"

#include <fmt/format.h>

namespace tarn::gateway {

std::string GatewayCounters::text() const {
    return fmt::format(
        "batches in {} ({} bytes), out {} ({} bytes), dropped {}; subscribers {}, newcomers {}, "
        "too slow {} times, trees asked for {}, updates {} bytes",
        batchesIn, bytesIn, batchesOut, bytesOut, dropped, subscribers, catchUps, tooSlow,
        questions, bytesOfUpdates);
}

}  // namespace tarn::gateway
