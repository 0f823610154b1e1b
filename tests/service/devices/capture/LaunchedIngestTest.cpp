#include "service/devices/capture/LaunchedIngest.h"

#include <gtest/gtest.h>

#include "platform/utils/MessageFormatter.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::service::devices {

using namespace std::chrono_literals;

class LaunchedIngestTest : public testing::Test {
  protected:
    test::TemporaryFolder folder;
    const test::LogCapture log;
    const utils::MessageFormatter formatter{"c"};
    const std::string path = (folder.path() / "ingest").string();
    LaunchedIngest ingest{path, formatter};
    LaunchedIngest::Time now{};
    const LaunchedIngest::ProcessIdentity first{4711, 1};
    const LaunchedIngest::ProcessIdentity second{4712, 5};
};

TEST_F(LaunchedIngestTest, OneThatWasFoundIsNotOurs) {
    ingest.showedItself(first, now);
    EXPECT_FALSE(ingest.is(first));
}

TEST_F(LaunchedIngestTest, TheFirstThatShowsItselfAfterALaunchIsOurs) {
    ingest.ordered(now);
    ingest.showedItself(first, now + 12s);
    ingest.showedItself(first, now + 13s);
    EXPECT_TRUE(ingest.is(first));
    ingest.showedItself(second, now + 14s);
    EXPECT_FALSE(ingest.is(second)) << "somebody else launched it";
    EXPECT_TRUE(ingest.is(first));
}

TEST_F(LaunchedIngestTest, OneThatWasThereBeforeIsNotOurs) {
    ingest.showedItself(first, now);
    ingest.ordered(now);
    ingest.showedItself(first, now);
    EXPECT_FALSE(ingest.is(first));
    ingest.showedItself(second, now);
    EXPECT_TRUE(ingest.is(second)) << "it was slower";
}

TEST_F(LaunchedIngestTest, OneThatShowsItselfLongAfterTheLaunchIsNotOurs) {
    ingest.ordered(now);
    ingest.showedItself(first, now + 61s);
    EXPECT_FALSE(ingest.is(first));
}

TEST_F(LaunchedIngestTest, AnotherProcessOfTheSameIdIsNotOurs) {
    ingest.ordered(now);
    ingest.showedItself(first, now);
    EXPECT_FALSE(ingest.is({first.id, first.startTime + 1}));
}

TEST_F(LaunchedIngestTest, TheNextServiceKnowsIt) {
    ingest.ordered(now);
    ingest.showedItself(first, now);
    LaunchedIngest next(path, formatter);
    next.showedItself(first, now);
    EXPECT_TRUE(next.is(first));
}

TEST_F(LaunchedIngestTest, TheNextServiceKnowsThatItIsBeingLaunched) {
    ingest.ordered(now);
    LaunchedIngest next(path, formatter);
    next.showedItself(first, now + 59s);
    EXPECT_TRUE(next.is(first));
    LaunchedIngest late(path, formatter);
    late.showedItself(second, now + 59s);
    EXPECT_FALSE(late.is(second)) << "it was the first";
}

TEST_F(LaunchedIngestTest, AFileOfSomethingElseIsNobodys) {
    for (const auto* content : {"", "nonsense", "launched 4711", "launched x", "ordered"}) {
        folder.write("ingest", content);
        LaunchedIngest other(path, formatter);
        other.showedItself({4711, 0}, now);
        EXPECT_FALSE(other.is({4711, 0})) << content;
    }
}

TEST_F(LaunchedIngestTest, AFileThatCannotBeWrittenIsSaidSo) {
    LaunchedIngest other((folder.path() / "none" / "ingest").string(), formatter);
    other.ordered(now);
    other.showedItself(first, now);
    EXPECT_TRUE(other.is(first));
    EXPECT_TRUE(log.contains("WARN c > The next service will not know that it launched"));
}

}  // namespace tarn::service::devices
