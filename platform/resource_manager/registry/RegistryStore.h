#pragma once

#include "platform/resource_manager/registry/RegistryContents.h"

namespace tarn::resource_manager {

/// Where the registry keeps what must outlive the process. Used by one thread at a time. Both
/// operations are all or nothing, and throw std::runtime_error when nothing was written.
class RegistryStore {
  public:
    virtual ~RegistryStore() = default;

    virtual void apply(const RegistryChange& change) = 0;

    /// Forgets everything that was stored before. Does not wait for somebody who holds the store.
    virtual void replace(const RegistryContents& contents) = 0;
};

}  // namespace tarn::resource_manager
