#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "platform/utils/Synchronised.h"
#include "tests/gateway/Batches.h"

namespace tarn::test {

/// A service that answers GET_MONITORING_INFO with the tree of a batch. Thread-safe.
class AskedService {
  public:
    /// Listens when this returns.
    AskedService(const std::string& requests, const ServiceEventBatch& tree);

    void changeTo(const ServiceEventBatch& tree);

    /// Questions so far.
    unsigned asked() const { return count; }

  private:
    void serve(const std::stop_token& stop, const std::string& requests);

    utils::Synchronised<ServiceEventBatch> current;
    std::atomic<unsigned> count{0};
    std::atomic<bool> listens{false};
    std::jthread thread;  // last: it uses the others
};

}  // namespace tarn::test
