#pragma once

#include "service/devices/storage/BaseRunner.h"

namespace tarn::service::devices {

/// Creates a track; its id is then the result's.
class CreateTrackRunner final : public BaseRunner {
  public:
    CreateTrackRunner(StorageAddress storage, std::uint64_t size);
    ~CreateTrackRunner();  ///< joins

    void run() override;
};

}  // namespace tarn::service::devices
