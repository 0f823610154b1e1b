#include "platform/resource_manager/registry/PropertyMatch.h"

#include <gtest/gtest.h>

#include "tests/platform/resource_manager/TestJobs.h"
#include "tests/support/MachineTime.h"

namespace tarn::resource_manager {

class PropertyMatchingTest : public testing::Test {
  protected:
    using Compared = PropertyMatch::Compared;

    bool holds(const std::string& value, Compared compared,
               PropertyMatch::Letters letters = PropertyMatch::Letters::Distinct) const {
        return PropertyMatch{"Studio", value, compared, letters}.holdsFor(job);
    }

    const RunningJob job =
        test::jobOf({1, 1}, "id", {{"Studio", {"North Hall", "b"}}, {"Empty", {}}});
};

TEST_F(PropertyMatchingTest, ComparesWholeValues) {
    EXPECT_TRUE(holds("North Hall", Compared::WholeValue));
    EXPECT_TRUE(holds("b", Compared::WholeValue));
    EXPECT_FALSE(holds("North", Compared::WholeValue));
    EXPECT_FALSE(holds("North Hall 2", Compared::WholeValue));
    EXPECT_FALSE(holds("", Compared::WholeValue));
}

TEST_F(PropertyMatchingTest, ComparesBeginnings) {
    EXPECT_TRUE(holds("North", Compared::Beginning));
    EXPECT_TRUE(holds("North Hall", Compared::Beginning));
    EXPECT_TRUE(holds("", Compared::Beginning));
    EXPECT_FALSE(holds("Hall", Compared::Beginning));
    EXPECT_FALSE(holds("North Hall 2", Compared::Beginning));
}

TEST_F(PropertyMatchingTest, LooksAnywhere) {
    EXPECT_TRUE(holds("th Ha", Compared::AnyPart));
    EXPECT_TRUE(holds("", Compared::AnyPart));
    EXPECT_FALSE(holds("South", Compared::AnyPart));
}

TEST_F(PropertyMatchingTest, FoldsLettersOnlyWhenAsked) {
    for (const auto compared : {Compared::WholeValue, Compared::Beginning, Compared::AnyPart}) {
        EXPECT_FALSE(holds("NORTH hall", compared));
        EXPECT_TRUE(holds("NORTH hall", compared, PropertyMatch::Letters::CaseIgnored));
    }
}

TEST_F(PropertyMatchingTest, FoldsNothingOutsideTheAlphabet) {
    const auto umlaut = test::jobOf({1, 1}, "id", {{"Studio", {"\xc3\x84[@"}}});
    PropertyMatch match{"Studio", "\xc3\xa4[@"};
    match.letters = PropertyMatch::Letters::CaseIgnored;
    EXPECT_FALSE(match.holdsFor(umlaut));
    match.value = "\xc3\x84{`";
    EXPECT_FALSE(match.holdsFor(umlaut));
}

TEST_F(PropertyMatchingTest, DoesNotHoldWithoutThePropertyOrWithoutValues) {
    EXPECT_FALSE((PropertyMatch{"studio", "b"}.holdsFor(job)));
    EXPECT_FALSE((PropertyMatch{"Empty", "", Compared::AnyPart}.holdsFor(job)));
}

TEST_F(PropertyMatchingTest, NegatedHoldsForAllOthers) {
    PropertyMatch match{"Studio", "b"};
    match.wanted = PropertyMatch::Wanted::NotMatching;
    EXPECT_FALSE(match.holdsFor(job));
    match.value = "c";
    EXPECT_TRUE(match.holdsFor(job));
    match.property = "Nothing";
    EXPECT_TRUE(match.holdsFor(job));
}

// Whoever may register a job and ask could otherwise hold up everybody for minutes.
TEST_F(PropertyMatchingTest, TakesNoLongerForTextsThatRepeatThemselves) {
    const auto hostile =
        test::jobOf({1, 1}, "id", {{"Studio", {std::string(std::size_t{1} << 20U, 'a')}}});
    const tarn::test::MachineTime time;
    for (const auto letters :
         {PropertyMatch::Letters::Distinct, PropertyMatch::Letters::CaseIgnored}) {
        const PropertyMatch match{"Studio", std::string(std::size_t{1} << 19U, 'a') + "b",
                                  Compared::AnyPart, letters};
        EXPECT_FALSE(match.holdsFor(hostile));
    }
    EXPECT_LT(time.elapsed(), std::chrono::seconds(10));
}

}  // namespace tarn::resource_manager
