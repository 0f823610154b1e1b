#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/pidfd.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>

#include "platform/os/FileDescriptor.h"
#include "tests/support/Eventually.h"
#include "tests/support/ForkedProcess.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/attacks/AttackTest.h"
#include "tests/system/harness/Processes.h"

// What the second user does to the processes of the media server.
namespace tarn::test {

namespace {

struct ProcessAct {
    const char* name;
    int (*act)(pid_t process);
};

std::string placeOf(pid_t process, const char* what) {
    return "/proc/" + std::to_string(process) + "/" + what;
}

int readable(pid_t process, const char* what) {
    const os::FileDescriptor file(::open(placeOf(process, what).c_str(), O_RDONLY | O_CLOEXEC));
    char byte = 0;
    return file.isOpen() && ::read(file.get(), &byte, 1) >= 0 ? 0 : -1;
}

int linked(pid_t process, const char* what) {
    char target[256];
    return ::readlink(placeOf(process, what).c_str(), target, sizeof target) > 0 ? 0 : -1;
}

int traced(pid_t process) {
    if (::ptrace(PTRACE_ATTACH, process, nullptr, nullptr) != 0) {
        return -1;
    }
    ::waitpid(process, nullptr, 0);
    ::ptrace(PTRACE_DETACH, process, nullptr, nullptr);
    return 0;
}

int memoryRead(pid_t process) {
    char here = 0;
    iovec local{&here, 1};
    iovec remote{&here, 1};
    return ::process_vm_readv(process, &local, 1, &remote, 1, 0) >= 0 || errno == EFAULT ? 0 : -1;
}

int signalledByDescriptor(pid_t process) {
    const os::FileDescriptor handle(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
    return static_cast<int>(::syscall(SYS_pidfd_send_signal, handle.get(), 0, nullptr, 0));
}

int descriptorTaken(pid_t process) {
    const os::FileDescriptor handle(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
    const os::FileDescriptor taken(
        static_cast<int>(::syscall(SYS_pidfd_getfd, handle.get(), 0, 0)));
    return taken.isOpen() ? 0 : -1;
}

int limited(pid_t process) {
    rlimit none{.rlim_cur = 0, .rlim_max = 0};
    return ::prlimit(process, RLIMIT_CORE, &none, nullptr);
}

int movedToOneProcessor(pid_t process) {
    cpu_set_t first;
    CPU_ZERO(&first);
    CPU_SET(0, &first);
    return ::sched_setaffinity(process, sizeof first, &first);
}

const std::vector<ProcessAct>& processActs() {
    static const std::vector<ProcessAct> all = {
        {"looks whether it takes signals", [](pid_t process) { return ::kill(process, 0); }},
        {"signals it by a descriptor", signalledByDescriptor},
        {"takes a descriptor of its", descriptorTaken},
        {"traces it", traced},
        {"reads its memory", memoryRead},
        {"opens its memory", [](pid_t process) { return readable(process, "maps"); }},
        {"reads its environment", [](pid_t process) { return readable(process, "environ"); }},
        {"lists its descriptors",
         [](pid_t process) {
             return os::FileDescriptor(
                        ::open(placeOf(process, "fd").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
                            .isOpen()
                        ? 0
                        : -1;
         }},
        {"asks for its folder", [](pid_t process) { return linked(process, "cwd"); }},
        {"asks for its program", [](pid_t process) { return linked(process, "exe"); }},
        {"goes in by its root", [](pid_t process) { return linked(process, "root"); }},
        {"limits it", limited},
        {"makes it wait",
         [](pid_t process) { return ::setpriority(PRIO_PROCESS, static_cast<id_t>(process), 19); }},
        {"binds it to a processor", movedToOneProcessor},
        {"stops it", [](pid_t process) { return ::kill(process, SIGSTOP); }},
        {"ends it", [](pid_t process) { return ::kill(process, SIGKILL); }},
    };
    return all;
}

pid_t idOf(const std::string& program) {
    const auto found = processesRunning(program);
    return found.empty() ? 0 : found.front().id;
}

std::string environmentOf(const std::string& program) {
    std::string all;
    for (const auto& process : processesRunning(program)) {
        all += readFile(placeOf(process.id, "environ"));
    }
    return all;
}

class OtherProcessesTest : public AttackTest {};

// On a process of his own he does it.
TEST_F(OtherProcessesTest, CanBeNeitherSeenIntoNorMoved) {
    Process gateway({gatewayProgram});
    ASSERT_TRUE(gateway.waitForOut("started"));
    startService();
    const auto job = startJob({.pipeline = endless});
    const std::vector<pid_t> victims{service().id(), gateway.id(), idOf("tarnWorkflowLauncher"),
                                     idOf("tarnPipelineProcess")};
    for (const auto& tried : processActs()) {
        Process his(commandAs(admin(), {"sleep", "60"}));
        ASSERT_TRUE(eventually([&] { return readFile(placeOf(his.id(), "comm")) == "sleep\n"; }));
        EXPECT_TRUE(isDone(admin(), [&] { return tried.act(his.id()); })) << tried.name;
        his.signal(SIGKILL);
        his.waitForEnd();
        expectRefused(tried.name, std::ranges::all_of(victims, [&](pid_t victim) {
                          return victim > 0 &&
                                 isForbidden(admin(), [&] { return tried.act(victim); });
                      }));
    }
    expectOthersServed();
    EXPECT_TRUE(job->destroy());
    EXPECT_TRUE(job->waitForEnd());
    gateway.signal(SIGTERM);
    gateway.waitForEnd();
}

// Command lines are everybody's to read.
TEST_F(OtherProcessesTest, TellNoSecretByTheirCommandLines) {
    startService();
    const auto secret = std::string("geheim-4711");
    const auto job = startJob({.pipeline = std::string(endless) + " name=" + secret,
                               .properties = {{"Password", {secret}}}});
    EXPECT_FALSE(processesRunning("tarnPipelineProcess").empty());
    expectRefused("reads every command line", doneAs(nobody(), [&] {
                      return processesRunning(secret).empty() &&
                             !processesRunning("tarnPipelineProcess").empty();
                  }));
    EXPECT_TRUE(job->destroy());
    EXPECT_TRUE(job->waitForEnd());
}

// What a client says of a job is not what its processes are started with.
TEST_F(OtherProcessesTest, AreStartedWithNoVariableOfAClient) {
    startService();
    const std::vector<std::string> names{"LD_PRELOAD", "LD_LIBRARY_PATH", "GST_PLUGIN_PATH",
                                         "GST_DEBUG_FILE", "PATH"};
    JobOrder order{.pipeline = endless, .name = "LD_PRELOAD=/tmp/evil.so"};
    for (const auto& name : names) {
        order.properties[name] = {"/tmp/evil.so"};
    }
    ASSERT_TRUE(isGranted(operating(), submissionOf(order)));
    ASSERT_TRUE(eventually([&] { return !processesRunning("tarnPipelineProcess").empty(); }));
    ASSERT_TRUE(eventually([&] { return api().jobs() && api().jobs()->size() == 1; }));
    const auto all = environmentOf("tarnWorkflowLauncher") + environmentOf("tarnPipelineProcess");
    EXPECT_FALSE(all.empty());
    for (const auto& name : names) {
        expectRefused("hands over the variable " + name,
                      all.find(name + "=/tmp/evil") == std::string::npos);
    }
    EXPECT_EQ(tarnctl({"jobs", "stop", "--all", "--for-good"}).exitStatus, 0);
}

// Nor with one that whoever asks an administrator to run tarnctl has left in his folder.
TEST_F(OtherProcessesTest, OfAnAdministratorAreNotThoseOfAnothersFolder) {
    openFolder("/tmp/open");
    plant("/tmp/open/gpasswd", "#!/bin/sh\ntouch /tmp/hit\n");
    std::filesystem::permissions("/tmp/open/gpasswd", std::filesystem::perms::all);
    std::ofstream("/etc/passwd", std::ios::app) << "alice:x:61201:61201::/:/bin/sh\n";
    const auto granted = runProcess(tarnctlCommand({"access", "grant", "alice", "read"}),
                                    {{"PATH", "/tmp/open:/usr/bin:/bin"}, {"IFS", "/"}});
    EXPECT_EQ(granted.exitStatus, 0) << granted.err;
    expectRefused("puts a program into an administrator's PATH",
                  !std::filesystem::exists("/tmp/hit"));
}

}  // namespace

}  // namespace tarn::test
