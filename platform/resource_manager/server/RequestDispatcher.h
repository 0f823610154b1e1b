#pragma once

#include <memory>
#include <string>

#include "platform/resource_manager/registry/Registry.h"
#include "proto/resource_manager.fwd.h"

namespace tarn::resource_manager {

/// Turns the requests of proxies into calls of the registry. Any thread.
class RequestDispatcher {
  public:
    explicit RequestDispatcher(std::shared_ptr<Registry> registry);

    /// Always gives a reply; what went wrong stands in it. Does not throw.
    tarn::proto::resource_manager::Reply answer(
        const tarn::proto::resource_manager::Request& request) const;

  private:
    void serve(const tarn::proto::resource_manager::Request& request,
               tarn::proto::resource_manager::Reply& reply) const;

    const std::shared_ptr<Registry> registry;
};

}  // namespace tarn::resource_manager
