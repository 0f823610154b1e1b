#include <chrono>
#include <filesystem>
#include <fstream>

#include "tests/support/Eventually.h"
#include "tests/system/harness/Processes.h"
#include "tests/system/harness/SystemTest.h"
#include "tests/system/storage/LoopStorage.h"

namespace tarn::test {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

/// How often a thread of the process has gone to sleep to be woken again.
long wakeUpsOf(pid_t process) {
    const std::string key = "voluntary_ctxt_switches:";
    long sum = 0;
    for (const auto& task : fs::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);) {
            sum += line.starts_with(key) ? std::stol(line.substr(key.size())) : 0;
        }
    }
    return sum;
}

/// The wake-ups of one process since this was made.
class Sleep {
  public:
    explicit Sleep(pid_t process) : process(process), before(wakeUpsOf(process)) {}

    /// So many a second may be, and some once.
    void expectAtMost(double aSecond) const {
        const std::chrono::duration<double> passed = Clock::now() - begin;
        EXPECT_LE(wakeUpsOf(process) - before, aSecond * passed.count() + 5)
            << "in " << passed.count() << " s";
    }

  private:
    const pid_t process;
    const long before;
    const Clock::time_point begin = Clock::now();
};

class IdleTest : public LoopStorageTest {
  protected:
    void SetUp() override {
#if defined(__SANITIZE_THREAD__)
        GTEST_SKIP()
            << "the sanitizer has a thread of its own in each process, which is woken often";
#endif
        LoopStorageTest::SetUp();
    }

    /// A recording that grows by one picture ten times a second: what tells that time passes.
    static constexpr auto pipeline =
        "videotestsrc is-live=true ! video/x-raw,width=32,height=24,format=GRAY8,framerate=10/1 ! "
        "filesink buffer-mode=unbuffered location=/tmp/recording";
    static constexpr std::uintmax_t picture = 32 * 24;

    static bool holds(std::uintmax_t pictures) {
        return eventually(
            [pictures] {
                std::error_code none;
                const auto size = fs::file_size("/tmp/recording", none);
                return !none && size >= pictures * picture;
            },
            std::chrono::seconds(60));
    }
};

TEST_F(IdleTest, NeitherTheServiceNorAJobIsWokenForNothing) {
    startService();
    ASSERT_TRUE(api().submit({.pipeline = pipeline}));
    for (const auto* const more : {"second", "third"}) {
        ASSERT_TRUE(api().submit({.pipeline = endless, .name = more}));
    }
    ASSERT_TRUE(eventually([this] { return api().jobs()->size() == 3; }));
    ASSERT_TRUE(holds(20));  // what a start has to do is done
    const Sleep ofService(processesRunning("TarnService").front().id);
    const Sleep ofLauncher(processesRunning("tarnWorkflowLauncher").front().id);
    ASSERT_TRUE(holds(80));
    ofService.expectAtMost(6);
    ofLauncher.expectAtMost(2);
}

TEST_F(IdleTest, NorIsALoopStorageThatNobodyUses) {
    startService();
    startStorage(Over::UnixSocket);
    ASSERT_TRUE(api().submit({.pipeline = pipeline}));
    ASSERT_TRUE(holds(20));
    const Sleep ofStorage(processesRunning("tarnLoopStorage").front().id);
    ASSERT_TRUE(holds(80));
    ofStorage.expectAtMost(1);
}

}  // namespace

}  // namespace tarn::test
