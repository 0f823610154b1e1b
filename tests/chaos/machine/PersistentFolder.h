#pragma once

#include <string>
#include <vector>

#include "tests/chaos/model/Model.h"

namespace tarn::chaos {

/// The folder of the persistent jobs: a small file system of its own, which can be full.
class PersistentFolder {
  public:
    static constexpr auto path = "/tmp/jobs";

    /// Mounts it; throws std::system_error. It goes with the private machine.
    PersistentFolder();

    /// Not one byte more can be written.
    void fill();
    void free();
    bool isFull() const { return full; }

    /// What a service would find.
    std::vector<World::Stored> stored() const;

  private:
    bool full = false;
};

}  // namespace tarn::chaos
