#include <stdexcept>

extern "C" int KLNPluginInitialize() {
    throw std::runtime_error("no licence");
}
