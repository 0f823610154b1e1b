#include "platform/utils/XmlNesting.h"

#include <gmock/gmock.h>

namespace tarn::utils {

using testing::Eq;
using testing::Optional;

TEST(XmlNestingTest, NamesTheFirstElementThatIsTooDeep) {
    EXPECT_THAT(findNestingBeyond("<a><b></b><c><d/></c></a>", 2), Optional(Eq(13U)));
    EXPECT_EQ(findNestingBeyond("<a><b></b><c><d/></c></a>", 3), std::nullopt);
}

TEST(XmlNestingTest, CountsASelfClosedElementAsALevelOfItsOwn) {
    EXPECT_THAT(findNestingBeyond("<a><b/></a>", 1), Optional(Eq(3U)));
    EXPECT_EQ(findNestingBeyond("<a><b/><b/><b x='1'/></a>", 2), std::nullopt);
}

// What looks like a closing tag there must not make room for a further level.
TEST(XmlNestingTest, TagsInCommentsAndAttributesAndDataDoNotCount) {
    EXPECT_THAT(findNestingBeyond("<a><!-- </a> --><b/></a>", 1), Optional(Eq(16U)));
    EXPECT_THAT(findNestingBeyond("<a><![CDATA[</a>]]><b/></a>", 1), Optional(Eq(19U)));
    EXPECT_THAT(findNestingBeyond("<a><?p </a>?><b/></a>", 1), Optional(Eq(13U)));
    EXPECT_THAT(findNestingBeyond("<a><!DOCTYPE x [</a>]><b/></a>", 1), Optional(Eq(22U)));
    EXPECT_THAT(findNestingBeyond("<a><!x </a><b/>", 1), Optional(Eq(11U)));
    EXPECT_THAT(findNestingBeyond("<a x='</a>' y = \"/>\"><b/></a>", 1), Optional(Eq(21U)));
    EXPECT_EQ(findNestingBeyond("<a><!-- <b> --><![CDATA[<b>]]><?p <b>?></a>", 1), std::nullopt);
}

TEST(XmlNestingTest, MarkupMayBeEmpty) {
    EXPECT_THAT(findNestingBeyond("<a><!----><b/></a>", 1), Optional(Eq(10U)));
    EXPECT_THAT(findNestingBeyond("<a><![CDATA[]]><b/></a>", 1), Optional(Eq(15U)));
    EXPECT_THAT(findNestingBeyond("<a><?\?><b/></a>", 1), Optional(Eq(7U)));
    EXPECT_THAT(findNestingBeyond("<a><!><b/></a>", 1), Optional(Eq(6U)));
    EXPECT_THAT(findNestingBeyond("<a><!DOCTYPE ><b/></a>", 1), Optional(Eq(14U)));
    EXPECT_THAT(findNestingBeyond("<a></><b><c/></b>", 1), Optional(Eq(9U)));
    EXPECT_THAT(findNestingBeyond("<><b/></>", 1), Optional(Eq(2U)));
}

TEST(XmlNestingTest, ADoctypeEndsOutsideItsBrackets) {
    EXPECT_THAT(findNestingBeyond("<a><!DOCTYPE [[]>]><b/></a>", 1), Optional(Eq(19U)));
    EXPECT_THAT(findNestingBeyond("<a><!DOCTYPE ]><b/></a>", 1), Optional(Eq(15U)));
}

TEST(XmlNestingTest, ANameMayHoldASmallerSign) {
    EXPECT_EQ(findNestingBeyond("<a<b<c></a>", 1), std::nullopt);
    EXPECT_EQ(findNestingBeyond("<a></a<b><c></c>", 1), std::nullopt);
}

TEST(XmlNestingTest, GivesUpWhereTheParserDoes) {
    for (const char* const text :
         {"", "<", "<a", "<a x", "<a x=", "<a x='", "<a x=1><b/>", "<a/ ><b>", "<!", "<!-- <b>",
          "<![CDATA[ <b>", "<!DOCTYPE ", "<!DOCTYPE [[]", "<?x", "</a><b>", "text"}) {
        EXPECT_EQ(findNestingBeyond(text, 1), std::nullopt) << text;
    }
}

}  // namespace tarn::utils
