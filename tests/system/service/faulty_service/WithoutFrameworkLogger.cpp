// TarnService with a media framework that refuses its logger, or throws what KLN_LOGGER_THROWS
// says.
#include <cstdlib>
#include <stdexcept>

#include "service/runtime/ServiceProcess.h"

// Stands in the place of KLNSetLoggerFrameworkConfig: see the linker's option --wrap.
extern "C" int __wrap_KLNSetLoggerFrameworkConfig(const char*, const char*, const char*) {
    if (const char* const text = std::getenv("KLN_LOGGER_THROWS")) {
        throw std::runtime_error(text);
    }
    return 3;
}

int main(int argc, char** argv) {
    return tarn::service::ServiceProcess().run(argc, argv);
}
