#include "platform/resource_manager/server/ServedRegistry.h"

#include <map>
#include <utility>

#include "platform/utils/Synchronised.h"

namespace tarn::resource_manager {

namespace {

using ByEndpoint = std::map<std::string, std::shared_ptr<Registry>>;

// Never destroyed: a handler that is itself a static object may end later.
tarn::utils::Synchronised<ByEndpoint>& served() {
    static auto* const registries = new tarn::utils::Synchronised<ByEndpoint>();
    return *registries;
}

std::string keyOf(const tarn::socket::SocketEndpoint& endpoint) {
    return endpoint.asPeer().toString(tarn::socket::Protocol::None);
}

}  // namespace

ServedRegistry::ServedRegistry(const tarn::socket::SocketEndpoint& endpoint,
                               std::shared_ptr<Registry> registry)
    : key(keyOf(endpoint)) {
    served().lock()->insert_or_assign(key, std::move(registry));
}

ServedRegistry::~ServedRegistry() {
    served().lock()->erase(key);
}

std::shared_ptr<Registry> ServedRegistry::find(const tarn::socket::SocketEndpoint& endpoint) {
    const auto key = keyOf(endpoint);
    auto registries = served().lock();
    const auto found = registries->find(key);
    return found == registries->end() ? nullptr : found->second;
}

}  // namespace tarn::resource_manager
