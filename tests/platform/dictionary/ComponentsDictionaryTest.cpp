#include "platform/dictionary/ComponentsDictionary.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "proto/dictionary.pb.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::dictionary {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

class DictionaryTest : public testing::Test {
  protected:
    /// Empty when the text was accepted.
    std::string errorOf(const std::string& text) {
        dictionary = ComponentsDictionary(folder.write("dictionary.xml", text));
        const bool read = dictionary.initFromLocalDictionary(error);
        EXPECT_EQ(read, error.empty());
        EXPECT_TRUE(read || dictionary.components().empty());
        return error;
    }

    std::vector<Component> componentsOf(const std::string& text) {
        EXPECT_EQ(errorOf("<ComponentsDictionary>" + text + "</ComponentsDictionary>"), "");
        return dictionary.components();
    }

    const tarn::test::TemporaryFolder folder;
    ComponentsDictionary dictionary{"/nonexistent/dictionary.xml"};
    std::string error = "left over";
};

TEST_F(DictionaryTest, IsReadInTheOrderOfTheFile) {
    EXPECT_THAT(
        componentsOf("\n<Component name=\"b\" version=\"1.22\" kind=\"encoder\">B</Component>"
                     "<!-- text --><Component kind='k' name='a'/>\n"),
        ElementsAre(Component{"b", "1.22", "encoder", "B"}, Component{"a", "", "k", ""}));
}

TEST_F(DictionaryTest, ReadsEntitiesAndDataAndJoinsBlanks) {
    EXPECT_THAT(
        componentsOf("<Component name='a &amp; b'>  one\n   two &lt;3\n</Component>"
                     "<Component name='c'><![CDATA[<x>]]></Component>"),
        ElementsAre(Component{"a & b", "", "", "one two <3"}, Component{"c", "", "", "<x>"}));
}

TEST_F(DictionaryTest, IgnoresElementsThatItDoesNotKnow) {
    EXPECT_THAT(componentsOf("<Other name='x'/><Component name='a'><Sub>y</Sub></Component>"),
                ElementsAre(Component{"a", "", "", ""}));
}

TEST_F(DictionaryTest, MayBeEmpty) {
    EXPECT_THAT(componentsOf(""), IsEmpty());
}

TEST_F(DictionaryTest, IsReplacedByTheNextReading) {
    const auto path =
        folder.write("x.xml", "<ComponentsDictionary><Component name='a'/></ComponentsDictionary>");
    dictionary = ComponentsDictionary(path);
    ASSERT_TRUE(dictionary.initFromLocalDictionary(error));
    folder.write("x.xml", "<ComponentsDictionary><Component name='b'/></ComponentsDictionary>");
    ASSERT_TRUE(dictionary.initFromLocalDictionary(error));
    EXPECT_THAT(dictionary.components(), ElementsAre(Component{"b", "", "", ""}));
    folder.write("x.xml", "");
    EXPECT_FALSE(dictionary.initFromLocalDictionary(error));
    EXPECT_THAT(dictionary.components(), IsEmpty());
}

TEST_F(DictionaryTest, BecomesAMessage) {
    EXPECT_EQ(dictionary.toProtoBuf().components_size(), 0);
    componentsOf("<Component name='n' version='v' kind='k'>d</Component><Component name='m'/>");
    const auto message = dictionary.toProtoBuf();
    ASSERT_EQ(message.components_size(), 2);
    EXPECT_EQ(message.components(0).name(), "n");
    EXPECT_EQ(message.components(0).version(), "v");
    EXPECT_EQ(message.components(0).kind(), "k");
    EXPECT_EQ(message.components(0).description(), "d");
    EXPECT_EQ(message.components(1).name(), "m");
}

TEST_F(DictionaryTest, FailsWithoutItsFile) {
    EXPECT_FALSE(dictionary.initFromLocalDictionary(error));
    EXPECT_EQ(error,
              "Failed reading components dictionary /nonexistent/dictionary.xml: No such file or "
              "directory");
}

TEST_F(DictionaryTest, FailsForWhatIsNoFileAndDoesNotWaitForIt) {
    const auto pipe = (folder.path() / "pipe").string();
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    for (const auto& path :
         {folder.path().string(), pipe, std::string("/dev/zero"), std::string()}) {
        EXPECT_FALSE(ComponentsDictionary(path).initFromLocalDictionary(error)) << path;
        EXPECT_THAT(error, HasSubstr("Failed reading components dictionary " + path + ": "));
    }
}

TEST_F(DictionaryTest, FailsForAFileOverOneMebibyte) {
    const std::string start = "<ComponentsDictionary/>";
    EXPECT_EQ(errorOf(start + std::string((1 << 20) - start.size(), ' ')), "");
    EXPECT_THAT(errorOf(start + std::string((1 << 20) - start.size() + 1, ' ')),
                EndsWith(": larger than 1 MiB"));
}

TEST_F(DictionaryTest, FailsWithTheLineOfWhatIsNotXml) {
    EXPECT_THAT(errorOf("<ComponentsDictionary>\n\n<Component</ComponentsDictionary>"),
                EndsWith(" in line 3"));
    EXPECT_NE(errorOf("plain text"), "");
    EXPECT_NE(errorOf("<ComponentsDictionary>"), "");
    EXPECT_THAT(errorOf(std::string("<ComponentsDictionary/>\n\0", 25)),
                EndsWith(": zero byte in line 2"));
}

TEST_F(DictionaryTest, FailsWithoutTheRootElement) {
    EXPECT_THAT(errorOf(""), EndsWith(": no element ComponentsDictionary"));
    EXPECT_THAT(errorOf("<componentsdictionary/>"), EndsWith(": no element ComponentsDictionary"));
}

TEST_F(DictionaryTest, FailsForAComponentWithoutAName) {
    for (const auto* component : {"<Component>x</Component>", "<Component name=''/>"}) {
        EXPECT_THAT(errorOf("<ComponentsDictionary><Component name='a'/>" + std::string(component) +
                            "</ComponentsDictionary>"),
                    EndsWith(": component 2 has no name"));
    }
}

TEST_F(DictionaryTest, FailsForANameThatStandsThereTwice) {
    EXPECT_THAT(errorOf("<ComponentsDictionary><Component name='a'/><Component name='b'/>"
                        "<Component name='a'/></ComponentsDictionary>"),
                EndsWith(": component \"a\" stands there twice"));
}

TEST_F(DictionaryTest, SurvivesAFileOfNothingButOpeningTags) {
    std::string text = "<ComponentsDictionary>\n";
    while (text.size() < (1 << 20) - 3) {
        text += "<a>";
    }
    EXPECT_THAT(errorOf(text), EndsWith(": more than 50 nested elements in line 2"));
}

}  // namespace tarn::dictionary
