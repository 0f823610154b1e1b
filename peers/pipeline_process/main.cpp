// Runs one pipeline for the launcher that started it, and dies with it.
#include <fcntl.h>
#include <gst/gst.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>
#include <utility>

#include "peers/pipeline_channel/MessageChannel.h"
#include "peers/pipeline_process/PipelineHost.h"
#include "peers/pipeline_process/PluginLoader.h"
#include "platform/os/ConnectGuard.h"
#include "platform/os/ProcessDefaults.h"

namespace {

using tarn::peers::MessageChannel;

pid_t parseProcessId(const char* text) {
    pid_t id = 0;
    const char* const end = text + std::strlen(text);
    const auto result = std::from_chars(text, end, id);
    return result.ec == std::errc() && result.ptr == end ? id : 0;
}

// The launcher may be gone before the kernel was asked to tell of it.
bool bindLifeTo(pid_t launcher) {
    return ::prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && ::getppid() == launcher;
}

// An element that reads another's pictures from shared memory, for one, asks for them by the path
// of a socket that anybody may have made.
void reportRefusedListener(const std::string& path, const std::string& why) {
    std::cerr << "error: not connected to " << path << ": " << why << std::endl;
}

bool startMediaLibrary() {
    gst_segtrap_set_enabled(FALSE);  // a crash ends this process with its signal
    GError* failure = nullptr;
    if (gst_init_check(nullptr, nullptr, &failure)) {
        return true;
    }
    std::cerr << "error: the media library cannot start: "
              << (failure != nullptr ? failure->message : "unknown reason") << std::endl;
    return false;
}

// Who changes his user is not told of his parent's end any more.
tarn::cell::CellReport enterCell(const tarn::cell::Cell& cell, pid_t launcher) {
    auto report = tarn::cell::enter(cell);
    if (!bindLifeTo(launcher)) {
        ::_exit(1);
    }
    return report;
}

// The media library is started outside of the cell, while the setup is still on its way: it reads
// what belongs to the machine, not to a client, starts no thread, and takes longer than the cell.
int runPipeline(pid_t launcher) {
    if (!startMediaLibrary()) {
        return 1;
    }
    const char* const plugins = ::getenv("KLN_PLUGINS");
    tarn::peers::loadPlugins(plugins != nullptr ? plugins : "");
    tarn::os::FileDescriptor channel(MessageChannel::pipelineDescriptor);
    tarn::peers::PipelineHost host(std::move(channel), [launcher](const tarn::cell::Cell& cell) {
        return enterCell(cell, launcher);
    });
    return host.run();
}

}  // namespace

int main(int argc, char** argv) {
    // Who reads what a pipeline writes may go away: an error of the element, told as every other.
    tarn::os::ignoreBrokenPipes();
    tarn::os::ConnectGuard::Install(reportRefusedListener);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const pid_t launcher = argc == 2 ? parseProcessId(argv[1]) : 0;
    if (launcher <= 0 || ::fcntl(MessageChannel::pipelineDescriptor, F_SETFD, FD_CLOEXEC) != 0) {
        std::cerr << "tarnPipelineProcess is started by a job's launcher" << std::endl;
        return 2;
    }
    if (!bindLifeTo(launcher)) {
        return 1;
    }
    try {
        return runPipeline(launcher);
    } catch (const std::exception& e) {
        std::cerr << "error: " << e.what() << std::endl;
        return 1;
    }
}
