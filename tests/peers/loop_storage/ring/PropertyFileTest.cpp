#include "peers/loop_storage/ring/PropertyFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "peers/loop_storage/StorageError.h"
#include "tests/peers/loop_storage/support/TestTrack.h"

namespace tarn::peers::loop_storage {
namespace {

constexpr std::size_t largestFile = 512 << 10;

bool isAccepted(const Properties& properties) {
    try {
        checkProperties(properties);
        return true;
    } catch (const StorageError& refusal) {
        EXPECT_EQ(refusal.type(), TARN_STORAGE_ERROR_ARGUMENT);
        return false;
    }
}

/// Names without values, which take more of the file than they have letters.
Properties names(int count, const std::string& prefix = "") {
    Properties properties;
    for (int i = 0; i < count; ++i) {
        properties[prefix + std::to_string(i)] = "";
    }
    return properties;
}

/// As many names as are accepted, and a last one whose value is as long as it may be.
Properties asManyAsThereMayBe() {
    const std::string prefix(20, 'n');
    int accepted = 1;
    int refused = 100'000;
    while (refused - accepted > 1) {
        const int count = (accepted + refused) / 2;
        (isAccepted(names(count, prefix)) ? accepted : refused) = count;
    }
    auto properties = names(accepted - 1, prefix);
    auto& value = properties["last"];
    while (isAccepted(properties)) {
        value += 'v';
    }
    value.pop_back();
    return properties;
}

TEST(PropertyFileTest, TheLargestThatIsAcceptedIsReadAgainAndAByteMoreIsRefused) {
    test::TestTrack track(100);
    auto properties = asManyAsThereMayBe();
    track->setProperties(properties);
    EXPECT_EQ(std::filesystem::file_size(track.file("properties")), largestFile);
    track.reopenAfterKill();
    EXPECT_EQ(track->describe().properties, properties);
    EXPECT_THROW(track->setProperties({{"last", properties["last"] + "v"}}), StorageError);
    EXPECT_EQ(track->describe().properties, properties);
}

TEST(PropertyFileTest, ManyShortNamesAreRefusedWithTheSizeOfTheFile) {
    try {
        checkProperties(names(80'000));
        FAIL();
    } catch (const StorageError& refusal) {
        EXPECT_THAT(refusal.what(), testing::EndsWith(" bytes: at most 524288"));
    }
}

TEST(PropertyFileTest, AFileThatIsTooLargeIsPutAsideAndCostsNoFrame) {
    test::TestTrack track(100);
    track.beWriter();
    track.put(1, "frame");
    writeProperties(track.file("properties"), names(80'000));
    ASSERT_GT(std::filesystem::file_size(track.file("properties")), largestFile);
    track.reopenAfterKill();
    EXPECT_THAT(track.frames(), testing::ElementsAre("1:frame"));
    EXPECT_THAT(track->notes(), testing::ElementsAre(testing::HasSubstr(
                                    "properties is too large: put aside as properties.damaged")));
}

}  // namespace
}  // namespace tarn::peers::loop_storage
