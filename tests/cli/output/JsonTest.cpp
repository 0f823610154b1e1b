#include "cli/output/Json.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "proto/job_monitoring.pb.h"
#include "proto/service_event.pb.h"

namespace tarn::cli {

using namespace proto::job_monitoring;
using nlohmann::ordered_json;

namespace {

std::string nameOf(const std::string& bytes) {
    JobDescription job;
    job.set_name(bytes);
    return toJson(job)["name"].get<std::string>();
}

}  // namespace

TEST(JsonTest, ReplacesEachByteThatIsNoUtf8) {
    EXPECT_EQ(nameOf("a\xff!"), "a\ufffd!");
    EXPECT_EQ(nameOf("\xc0\xaf"), "\ufffd\ufffd");
    EXPECT_EQ(nameOf("\xe2\x82"), "\ufffd\ufffd");
}

TEST(JsonTest, ReplacesThemInEveryKindOfField) {
    JobEvent event;
    event.set_job_id("\xff");
    event.set_type(JobEvent::FAILURE);
    event.MutableExtension(JobEventFailure::base)->set_message("\xc0\xaf");
    const auto document = toJson(event);
    EXPECT_EQ(document["job_id"], "\ufffd");
    EXPECT_EQ(document["content"]["message"], "\ufffd\ufffd");
}

TEST(JsonTest, LeavesTheMessageAsItIs) {
    JobDescription job;
    job.set_name("\xc0\xaf");
    toJson(job);
    EXPECT_EQ(job.name(), "\xc0\xaf");
}

TEST(JsonTest, IsPrintedWithoutAnythingThatATerminalWouldObey) {
    const std::string hostile = "\x1b[2J\x7f\xc2\x9b\xc2\x85\xe2\x80\xa8\xe2\x80\xae";
    const ordered_json document = {{"name" + hostile, hostile}};
    const std::string escaped = "\\u001b[2J\\u007f\\u009b\\u0085\\u2028\\u202e";
    EXPECT_EQ(oneLine(document), "{\"name" + escaped + "\":\"" + escaped + "\"}");
    EXPECT_EQ(pretty(document), "{\n  \"name" + escaped + "\": \"" + escaped + "\"\n}");
    EXPECT_EQ(ordered_json::parse(oneLine(document)), document);
}

TEST(JsonTest, IsPrintedAsItIsOtherwise) {
    const ordered_json document = {{"name", "Gr\u00f6\u00dfe \u5199\u771f \U0001f3a5"}};
    EXPECT_EQ(oneLine(document), "{\"name\":\"Gr\u00f6\u00dfe \u5199\u771f \U0001f3a5\"}");
}

}  // namespace tarn::cli
