#include <gmock/gmock.h>

#include <algorithm>

#include "platform/dictionary/ComponentsDictionary.h"

namespace tarn::dictionary {

TEST(ShippedDictionaryTest, SaysEverythingOfEachComponent) {
    ComponentsDictionary dictionary(SHIPPED_DICTIONARY);
    std::string error;
    ASSERT_TRUE(dictionary.initFromLocalDictionary(error)) << error;
    EXPECT_GE(dictionary.components().size(), 15U);
    for (const auto& component : dictionary.components()) {
        EXPECT_FALSE(component.version.empty()) << component.name;
        EXPECT_FALSE(component.kind.empty()) << component.name;
        EXPECT_FALSE(component.description.empty()) << component.name;
    }
}

TEST(ShippedDictionaryTest, HoldsWhatAnOrdinaryTranscodingNeeds) {
    ComponentsDictionary dictionary(SHIPPED_DICTIONARY);
    std::string error;
    ASSERT_TRUE(dictionary.initFromLocalDictionary(error)) << error;
    for (const auto* name : {"filesrc", "decodebin", "avdec_h264", "x264enc", "avenc_aac", "mp4mux",
                             "filesink", "videotestsrc", "audiotestsrc", "shmsink"}) {
        EXPECT_TRUE(std::any_of(dictionary.components().begin(), dictionary.components().end(),
                                [&](const Component& c) { return c.name == name; }))
            << name;
    }
}

}  // namespace tarn::dictionary
