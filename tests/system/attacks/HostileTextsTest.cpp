#include <algorithm>

#include "platform/utils/UuidGenerator.h"
#include "tests/support/Eventually.h"
#include "tests/system/attacks/AttackTest.h"

// Names that one who may submit gives to his jobs, for whoever looks at them.
namespace tarn::test {

namespace {

using proto::api_service::ApiToServiceRequestGetJobByUuid;
using proto::api_service::ApiToServiceRequestGetJobs;

struct HostileName {
    const char* name;
    std::string text;
};

const std::vector<HostileName>& hostileNames() {
    static const std::vector<HostileName> all = {
        {"clears the screen", "\x1b[2J\x1b[H"},
        {"sets the title", "\x1b]0;owned\x07"},
        {"asks the terminal to type", "\x1b[c\x1b]52;c;cm0gLXJmIC8K\x07"},
        {"uses the second set of controls",
         "\xc2\x9b"
         "2J\xc2\x9d"
         "0;x\xc2\x9c"},
        {"forges a line", "x\nforged  playing\r\nforged"},
        {"goes back over what was written", "x\b\b\b\b\rforged"},
        {"turns the writing around",
         "x\xe2\x80\xae"
         "gnp.exe"},
        {"is no text", "\xff\xfe\x80\xc0\xaf"},
        {"ends early", std::string("x\0hidden", 8)},
        {"is a format", "%s%n%x%1000000d{}{0}"},
        {"climbs", "../../../../tmp/hit"},
        {"is 64 kB long", std::string(65536, 'a')},
    };
    return all;
}

// What a terminal obeys, and what shows other text than there is.
bool isHarmless(const std::string& shown) {
    const bool hasControl = std::ranges::any_of(
        shown, [](unsigned char c) { return (c < 0x20 && c != '\n') || c == 0x7f; });
    for (const auto* const bad : {"\xc2\x9b", "\xc2\x9d", "\xe2\x80\xae", "\xff", "\xc0\xaf"}) {
        if (shown.find(bad) != std::string::npos) {
            return false;
        }
    }
    return !hasControl && !shown.starts_with("forged") &&
           shown.find("\nforged") == std::string::npos;
}

class HostileTextsTest : public AttackTest {
  protected:
    static bool submits(const JobOrder& order) {
        return isGranted(operating(), submissionOf(order));
    }

    void expectHarmless(const std::string& act, const std::vector<std::string>& command) {
        const auto run = tarnctl(command);
        EXPECT_TRUE(isHarmless(run.out) && isHarmless(run.err)) << act << "\n"
                                                                << run.out << run.err;
    }

    void expectHarmlessLog(std::size_t after) {
        const auto lines = service().log().all();
        for (auto i = after; i < lines.size(); ++i) {
            EXPECT_TRUE(isHarmless(lines[i])) << lines[i];
        }
    }

    /// A job that has it wherever a client may say something, while an administrator looks.
    void tryIt(const HostileName& hostile) {
        const auto id = utils::UuidGenerator::Generate();
        const auto log = service().logLength();
        ASSERT_TRUE(submits({.pipeline = std::string(endless) + " name=\"x\"",
                             .id = id,
                             .name = hostile.text,
                             .properties = {{hostile.text, {hostile.text}}}}));
        ASSERT_TRUE(eventually([&] { return isListed(id); })) << hostile.name;
        expectHarmless(hostile.name, {"jobs", "list"});
        expectHarmless(hostile.name, {"jobs", "show", id});
        expectHarmless(hostile.name, {"jobs", "log", id});
        EXPECT_EQ(tarnctl({"jobs", "stop", id}).exitStatus, 0) << hostile.name;
        expectHarmlessLog(log);
        expectRefused(std::string("a job whose name ") + hostile.name, api().info().has_value());
    }
};

TEST_F(HostileTextsTest, ReachNoTerminalAndNoLog) {
    startService();
    for (const auto& hostile : hostileNames()) {
        tryIt(hostile);
    }
    EXPECT_FALSE(std::filesystem::exists("/tmp/hit"));
    expectOthersServed();
}

// A job's id is a name of files and of claims.
TEST_F(HostileTextsTest, AsIdsTouchNoFile) {
    startService();
    const auto log = service().logLength();
    for (const auto& hostile : hostileNames()) {
        EXPECT_TRUE(
            submits({.pipeline = "videotestsrc num-buffers=2 ! fakesink", .id = hostile.text}));
        expectHarmless(hostile.name, {"jobs", "list"});
        expectRefused(std::string("a job whose id ") + hostile.name,
                      api().info().has_value() && !std::filesystem::exists("/tmp/hit"));
    }
    EXPECT_TRUE(eventually([&] {
        const auto jobs = api().jobs();
        return jobs && jobs->empty();
    }));
    expectHarmlessLog(log);
}

// What they ask about, though there is none of the name.
TEST_F(HostileTextsTest, AsQuestionsAreAnsweredByThoseWhoDoNotKnow) {
    startService();
    const auto log = service().logLength();
    for (const auto& hostile : hostileNames()) {
        auto jobs = requestOfType(Api::Request::GET_JOBS);
        auto& filter = *jobs.MutableExtension(ApiToServiceRequestGetJobs::base);
        filter.set_property(hostile.text);
        filter.set_value(hostile.text);
        auto job = requestOfType(Api::Request::GET_JOB_BY_UUID);
        job.MutableExtension(ApiToServiceRequestGetJobByUuid::base)->set_uuid(hostile.text);
        const bool isAnswered = isGranted(operating(), jobs) && isGranted(operating(), job);
        expectRefused(std::string("a question whose text ") + hostile.name,
                      isAnswered && api().info().has_value());
    }
    expectHarmlessLog(log);
}

}  // namespace

}  // namespace tarn::test
