#include "platform/media_framework/Kln.h"

// Says when it starts, so that a test sees how often that happens.
extern "C" int KLNPluginInitialize() {
    KLNLog(KLN_LOG_INFO, "good plug-in starts");
    return 0;
}
