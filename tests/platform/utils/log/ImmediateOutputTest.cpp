#include "platform/utils/log/ImmediateOutput.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <utility>

#include "platform/os/ProcessDefaults.h"

namespace tarn::utils {

namespace {

/// Nothing can be opened as long as it lives.
class NoDescriptorLeft {
  public:
    NoDescriptorLeft() {
        ::getrlimit(RLIMIT_NOFILE, &before);
        const rlimit none{0, before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptorLeft() { ::setrlimit(RLIMIT_NOFILE, &before); }

  private:
    rlimit before{};
};

auto openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

class ImmediateOutputTest : public testing::Test {
  protected:
    ImmediateOutputTest() {
        os::ignoreBrokenPipes();
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        const NoDescriptorLeft toBeOpenedAgainWith;
        output.emplace(ends[1]);
    }
    ~ImmediateOutputTest() override {
        ::close(ends[0]);
        ::close(ends[1]);
    }

    std::size_t readAll() const {
        ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
        std::size_t count = 0;
        std::array<char, 4096> buffer{};
        for (ssize_t got = 0; (got = ::read(ends[0], buffer.data(), buffer.size())) > 0;) {
            count += static_cast<std::size_t>(got);
        }
        return count;
    }

    std::array<int, 2> ends{};
    std::optional<ImmediateOutput> output;  // to a pipe that cannot be opened again
};

}  // namespace

TEST_F(ImmediateOutputTest, TakesWhatAPipeHasRoomForAndNeverWaits) {
    const std::string large(1 << 20, 'x');
    const auto taken = output->put(large);
    EXPECT_GT(taken, 4096U);
    EXPECT_LT(taken, large.size());
    EXPECT_EQ(output->put("more"), 0U);
    EXPECT_EQ(readAll(), taken);
    EXPECT_EQ(output->put("more"), 4U);
    EXPECT_EQ(readAll(), 4U);
}

TEST_F(ImmediateOutputTest, TakesAllWhereNobodyReadsAnyMore) {
    ::close(std::exchange(ends[0], -1));
    EXPECT_EQ(output->put("lost"), 4U);
}

TEST(ImmediateOutputDescriptorsTest, AreNotLeftOpen) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const auto before = openDescriptors();
    { const ImmediateOutput output(ends[1]); }
    EXPECT_EQ(openDescriptors(), before);
    ::close(ends[0]);
    ::close(ends[1]);
}

}  // namespace tarn::utils
