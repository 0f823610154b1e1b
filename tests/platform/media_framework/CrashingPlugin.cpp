#include <signal.h>

extern "C" int KLNPluginInitialize() {
    return ::raise(SIGKILL);  // a signal that no sanitizer turns into something else
}
