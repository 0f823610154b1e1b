#pragma once

#include "service/devices/storage/BaseRunner.h"

namespace tarn::service::devices {

/// Gives a track another size. Reaching any other than the one asked for is a failure.
class ResizeTrackRunner final : public BaseRunner {
  public:
    ResizeTrackRunner(StorageAddress storage, std::int64_t trackId, std::uint64_t size);
    ~ResizeTrackRunner();  ///< joins

    void run() override;

  private:
    Problem compare(std::int64_t reached) const;
};

}  // namespace tarn::service::devices
