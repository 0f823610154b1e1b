// Loads one plug-in and says by its exit status that it has survived. For the program that is about
// to load it.
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "platform/media_framework/Kln.h"
#include "platform/media_framework/PluginLoading.h"
#include "platform/media_framework/trial/PluginTrial.h"
#include "platform/utils/log/StreamLogSink.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("tarnPluginTrial is started by the program that loads a plug-in\n", stderr);
        return 2;
    }
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    tarn::utils::setLogSink(
        std::make_shared<tarn::utils::StreamLogSink>(stderr, tarn::utils::LogLevel::Info));
    KLNSetLoggerFrameworkConfig("Log4CPlus", "kln", "<Config><Logger>trial</Logger></Config>");
    tarn::media_framework::loadPlugin(argv[1]);
    // At once: what a plug-in does when a process ends is not what is tried.
    ::_exit(tarn::media_framework::PluginTrial::survived);
}
