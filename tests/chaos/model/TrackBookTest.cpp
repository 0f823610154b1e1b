#include "tests/chaos/model/TrackBook.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarn::chaos {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Outcome = TrackBook::Outcome;

/// Track 3 of 1000 bytes.
struct TrackBookTest : testing::Test {
    TrackBook book;
    std::map<std::int64_t, Track> found{{3, {.size = 1000}}};

    TrackBookTest() { book.created(3, 1000); }
};

TEST_F(TrackBookTest, ATrackThatWasCreatedIsThere) {
    EXPECT_THAT(book.problemsWith(found), IsEmpty());
    EXPECT_THAT(book.problemsWith({}), ElementsAre("track 3 is lost"));
    EXPECT_THAT(book.tracks(), ElementsAre(3));
}

TEST_F(TrackBookTest, NoOtherTrackIsThereButThoseOfWhichNobodyKnows) {
    found[4] = {};
    EXPECT_THAT(book.problemsWith(found),
                ElementsAre("1 tracks that nobody ordered, at most 0 may be there"));
    book.creationIsOpen();
    EXPECT_THAT(book.problemsWith(found), IsEmpty());
    found.erase(4);
    EXPECT_THAT(book.problemsWith(found), IsEmpty());
}

TEST_F(TrackBookTest, ATrackThatWasDestroyedIsGone) {
    book.destroyed(3, Outcome::Done);
    EXPECT_THAT(book.problemsWith(found), ElementsAre("track 3 was destroyed and is there"));
    EXPECT_THAT(book.problemsWith({}), IsEmpty());
    EXPECT_THAT(book.tracks(), IsEmpty());
}

TEST_F(TrackBookTest, ATrackOfWhoseEndNobodyKnowsIsThereOrNot) {
    book.destroyed(3, Outcome::Open);
    EXPECT_THAT(book.problemsWith(found), IsEmpty());
    EXPECT_THAT(book.problemsWith({}), IsEmpty());
    EXPECT_THAT(book.tracks(), IsEmpty());
}

TEST_F(TrackBookTest, ATrackHasTheSizeThatItWasGiven) {
    book.resized(3, 2000, Outcome::Done);
    EXPECT_THAT(book.problemsWith(found), ElementsAre("track 3 has 1000 bytes instead of 2000"));
    found[3].size = 2000;
    EXPECT_THAT(book.problemsWith(found), IsEmpty());
}

TEST_F(TrackBookTest, AResizingOfWhichNobodyKnowsIsDoneOrNotAndNothingBetween) {
    book.resized(3, 2000, Outcome::Open);
    EXPECT_THAT(book.problemsWith(found), IsEmpty());
    found[3].size = 2000;
    EXPECT_THAT(book.problemsWith(found), IsEmpty());
    found[3].size = 1500;
    EXPECT_THAT(book.problemsWith(found), ElementsAre("track 3 has 1500 bytes instead of 2000"));
}

}  // namespace
}  // namespace tarn::chaos
