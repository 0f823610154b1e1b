#pragma once

#include "service/devices/storage/BaseRunner.h"

namespace tarn::service::devices {

/// Destroys a track.
class DeleteTrackRunner final : public BaseRunner {
  public:
    DeleteTrackRunner(StorageAddress storage, std::int64_t trackId);
    ~DeleteTrackRunner();  ///< joins

    void run() override;
};

}  // namespace tarn::service::devices
