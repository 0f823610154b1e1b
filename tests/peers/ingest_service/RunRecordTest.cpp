#include "peers/ingest_service/RunRecord.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

#include "platform/socket/Socket.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers::ingest_service {

namespace {

namespace fs = std::filesystem;

/// Shared memory such as the media library makes.
class Memory {
  public:
    explicit Memory(std::string given)
        : name(std::move(given)),
          file(::shm_open(("/" + name).c_str(), O_RDWR | O_CREAT | O_EXCL, 0600)) {}
    ~Memory() { ::shm_unlink(("/" + name).c_str()); }
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    bool isThere() const { return fs::exists("/dev/shm/" + name); }

    const std::string name;

  private:
    const os::FileDescriptor file;
};

}  // namespace

class RunRecordTest : public testing::Test {
  protected:
    /// The id of a process that is gone.
    static pid_t deadProcess() {
        test::Process process({"true"});
        const auto id = process.id();
        process.wait();
        return id;
    }

    /// What a run left that died suddenly.
    void leave(const std::string& lines) const {
        folder.write("k.run", "process " + std::to_string(dead) + " 1\n" + lines);
    }

    std::string leaveSocket(const std::string& name) const {
        const auto path = (folder.path() / name).string();
        const auto other = path + ".live";
        {
            tarn::socket::Socket socket("test", tarn::socket::ClosePolicy::Discard);
            socket.createAndConnect(tarn::socket::Protocol::Reply,
                                    tarn::socket::SocketEndpoint::FromString("ipc://" + other), 0);
            fs::create_hard_link(other, path);
        }
        return path;
    }

    bool isThere(const std::string& name) const { return fs::exists(folder.path() / name); }

    const test::TemporaryFolder folder;
    const std::string prefix = (folder.path() / "k").string();
    const pid_t dead = deadProcess();
};

TEST_F(RunRecordTest, IsThereWhileItsProcessLives) {
    {
        const RunRecord record(prefix);
        EXPECT_TRUE(isThere("k.run"));
        EXPECT_THAT(test::readFile(prefix + ".run"),
                    testing::StartsWith("process " + std::to_string(::getpid()) + " "));
    }
    EXPECT_FALSE(isThere("k.run"));
}

TEST_F(RunRecordTest, NamesSocketsAndSharedMemory) {
    RunRecord record(prefix);
    const Memory memory("shmpipe.test." + std::to_string(::getpid()));
    record.note({record.socketPath(7)});
    const auto content = test::readFile(prefix + ".run");
    EXPECT_THAT(content, testing::HasSubstr("\nsocket " + prefix + "-channel-7\n"));
    EXPECT_THAT(content, testing::HasSubstr("\nmemory " + memory.name + "\n"));
    record.note({});
    EXPECT_THAT(test::readFile(prefix + ".run"), testing::Not(testing::HasSubstr("socket")));
}

TEST_F(RunRecordTest, RemovesWhatADeadRunLeft) {
    const Memory memory("shmpipe.12345678.left over");
    const auto socket = leaveSocket("k-channel-3");
    leave("socket " + socket + "\nmemory " + memory.name + "\n");
    const RunRecord record(prefix);
    EXPECT_FALSE(fs::exists(socket));
    EXPECT_FALSE(memory.isThere());
}

TEST_F(RunRecordTest, RemovesMemoryThatADeadRunCouldNotNoteAnyMore) {
    char name[40];
    std::snprintf(name, sizeof name, "shmpipe.%5d.    0", dead);
    const Memory memory(name);
    leave("");
    const RunRecord record(prefix);
    EXPECT_FALSE(memory.isThere());
}

TEST_F(RunRecordTest, RemovesNothingElseWhateverTheFileNames) {
    const auto other = leaveSocket("other-channel-3");
    const auto odd = leaveSocket("k-channel-3x");
    folder.write("k-channel-4", "no socket");
    const auto victim = folder.write("victim", "");
    leave("socket " + other + "\nsocket " + odd + "\nsocket " + victim + "\nmemory ../" +
          victim.substr(1) + "\nmemory other\nnonsense\n\nmemory\n");
    const RunRecord record(prefix);
    EXPECT_TRUE(fs::exists(other));
    EXPECT_TRUE(fs::exists(odd));
    EXPECT_TRUE(fs::exists(victim));
}

TEST_F(RunRecordTest, IsOfOneRunAtATime) {
    const RunRecord record(prefix);
    try {
        const RunRecord second(prefix);
        FAIL() << "there were two";
    } catch (const std::runtime_error& e) {
        EXPECT_EQ(std::string(e.what()), "another one is running: it holds " + prefix + ".run");
    }
    EXPECT_TRUE(isThere("k.run"));
}

TEST_F(RunRecordTest, DoesNotFollowALink) {
    const auto victim = folder.write("victim", "content");
    fs::create_symlink(victim, prefix + ".run");
    EXPECT_THROW(RunRecord{prefix}, std::runtime_error);
    EXPECT_EQ(test::readFile(victim), "content");
}

}  // namespace tarn::peers::ingest_service
