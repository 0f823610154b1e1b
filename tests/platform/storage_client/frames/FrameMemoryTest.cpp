#include "platform/storage_client/frames/FrameMemory.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <deque>
#include <random>

namespace tarn::storage_client {
namespace {

constexpr std::uint64_t memorySize = 8U << 20U;

struct FrameMemoryTest : testing::Test {
    FrameMemoryTest() { EXPECT_EQ(::ftruncate(file.get(), memorySize), 0); }

    const os::FileDescriptor file{::memfd_create("test", MFD_CLOEXEC)};
};

TEST_F(FrameMemoryTest, IsThereForTheSizeThatItHas) {
    EXPECT_NE(FrameMemory::Map(file, memorySize), nullptr);
    EXPECT_EQ(FrameMemory::Map(file, memorySize + 4096), nullptr);
    EXPECT_EQ(FrameMemory::Map(file, 0), nullptr);
    EXPECT_EQ(FrameMemory::Map(os::FileDescriptor(-1), memorySize), nullptr);
}

TEST_F(FrameMemoryTest, AFrameAsLargeAsAllOfItFitsAlone) {
    const auto memory = FrameMemory::Map(file, memorySize);
    EXPECT_EQ(memory->place(memorySize), 0U);
    EXPECT_FALSE(memory->place(1));
    memory->release();
    EXPECT_EQ(memory->place(1), 0U);
    EXPECT_FALSE(memory->place(memorySize));
    EXPECT_FALSE(memory->place(memorySize + 1));
    memory->release();
    EXPECT_FALSE(memory->place(memorySize + 1));
}

TEST_F(FrameMemoryTest, FramesLieApartWhateverTheirSizes) {
    const auto memory = FrameMemory::Map(file, memorySize);
    std::mt19937 random(4711);
    struct Placed {
        std::uint64_t begin;
        std::uint64_t end;
    };
    std::deque<Placed> model;
    int placedFrames = 0;
    for (int step = 0; step < 20'000; ++step) {
        const std::uint64_t size = 1 + random() % (random() % 4 == 0 ? 3'000'000 : 5000);
        const auto begin = memory->place(size);
        if (!begin) {
            ASSERT_FALSE(model.empty()) << "nothing is in the way of " << size;
            memory->release();
            model.pop_front();
            continue;
        }
        ++placedFrames;
        ASSERT_LE(*begin + size, memorySize);
        for (const auto& other : model) {
            ASSERT_TRUE(*begin + size <= other.begin || other.end <= *begin);
        }
        model.push_back({.begin = *begin, .end = *begin + size});
        if (random() % 8 == 0) {
            memory->release();
            model.pop_front();
        }
    }
    EXPECT_GT(placedFrames, 5000);
}

TEST_F(FrameMemoryTest, SmallFramesStayNearTheBeginning) {
    const auto memory = FrameMemory::Map(file, memorySize);
    memory->place(1000);
    for (int i = 0; i < 10'000; ++i) {
        const auto begin = memory->place(1000);
        ASSERT_TRUE(begin);
        EXPECT_LT(*begin, 3U << 20U);
        memory->release();
    }
}

}  // namespace
}  // namespace tarn::storage_client
