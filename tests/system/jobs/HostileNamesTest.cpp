#include <filesystem>
#include <functional>
#include <set>

#include "tests/support/Eventually.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

struct HostileText {
    const char* name;
    std::string text;
};

const std::vector<HostileText> hostileTexts = {
    {"secondCommand", "x; touch /tmp/hit"},
    {"background", "x & touch /tmp/hit &"},
    {"substitution", "$(touch /tmp/hit)"},
    {"id", "$(id)"},
    {"backticks", "`touch /tmp/hit`"},
    {"quotes", "x' ; touch /tmp/hit ; '"},
    {"doubleQuotes", "x\" ; touch /tmp/hit ; \""},
    {"variable", "${HOME}"},
    {"redirection", "> /tmp/hit"},
    {"pipe", "| tee /tmp/hit"},
    {"climbing", "../../etc/x"},
    {"climbingFar", "../../../../../../../../tmp/hit"},
    {"absolute", "/tmp/hit"},
    {"newline", "x\ntouch /tmp/hit\n"},
    {"carriageReturn", "x\rtouch /tmp/hit"},
    {"zero", std::string("x\0; touch /tmp/hit", 18)},
    {"option", "--help"},
    {"dots", ".."},
    {"format", "%s%s%s%n%n"},
    {"markup", "</Job><x>&amp;"},
    {"control", "\x1b[2J\x07"},
    {"controlOfTheSecondSet",
     "x\xc2\x9b"
     "2J\xc2\x85y"},
    {"notUtf8", "\xff\xfe\x80"},
    {"overlong", "\xc0\xaf"},
    {"long", std::string(100'000, 'a')},
    {"longerThanAnArgument", std::string(300'000, 'a')},
};

// Everything in the folder, as far as it existed when the test began or was made since.
std::set<std::string> entriesOf(const std::string& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(
             folder, std::filesystem::directory_options::skip_permission_denied)) {
        names.insert(entry.path().string());
    }
    return names;
}

using Order = std::function<JobOrder(const std::string&)>;

struct Place {
    const char* name;
    Order order;  ///< an order with the text in this place
};

constexpr auto shortPipeline = "videotestsrc num-buffers=2 ! fakesink";

const std::vector<Place> places = {
    {"id", [](const std::string& text) { return JobOrder{.pipeline = shortPipeline, .id = text}; }},
    {"name",
     [](const std::string& text) { return JobOrder{.pipeline = shortPipeline, .name = text}; }},
    {"persistentName",
     [](const std::string& text) {
         return JobOrder{.pipeline = shortPipeline, .persistent = true, .persistentName = text};
     }},
    {"nameOfAPersistentJob",
     [](const std::string& text) {
         return JobOrder{.pipeline = shortPipeline, .name = text, .persistent = true};
     }},
    {"pipeline", [](const std::string& text) { return JobOrder{.pipeline = text}; }},
    {"property",
     [](const std::string& text) {
         return JobOrder{.pipeline = shortPipeline, .properties = {{text, {text}}}};
     }},
};

class AHostileTextTest : public SystemTest, public ::testing::WithParamInterface<Place> {};

TEST_P(AHostileTextTest, TouchesNothingAndTheNextRequestIsServed) {
    startService();
    const auto etcBefore = entriesOf("/etc");
    for (const auto& hostile : hostileTexts) {
        SCOPED_TRACE(hostile.name);
        // The answer comes before the launch; the next request is served after it.
        EXPECT_TRUE(api().submit(GetParam().order(hostile.text)));
        EXPECT_TRUE(api().info());
    }
    EXPECT_TRUE(service().isRunning());
    EXPECT_TRUE(eventually([this] {
        const auto jobs = api().jobs();
        return jobs && jobs->empty();
    }));
    EXPECT_FALSE(std::filesystem::exists("/tmp/hit"));
    EXPECT_EQ(entriesOf("/etc"), etcBefore);
}

INSTANTIATE_TEST_SUITE_P(In, AHostileTextTest, ::testing::ValuesIn(places),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace

}  // namespace tarn::test
