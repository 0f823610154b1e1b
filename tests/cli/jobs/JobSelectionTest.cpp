#include "cli/jobs/JobSelection.h"

#include <gtest/gtest.h>

#include "cli/CommandError.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

using proto::api_service::RunningJob;

namespace {

std::vector<RunningJob> jobs(const std::vector<std::string>& ids) {
    std::vector<RunningJob> result;
    for (const auto& id : ids) {
        result.emplace_back().mutable_job_description()->set_job_id(id);
    }
    return result;
}

std::string selected(const std::vector<std::string>& ids, const std::string& text) {
    return selectJob(jobs(ids), text).job_description().job_id();
}

std::string complaint(const std::vector<std::string>& ids, const std::string& text) {
    try {
        selected(ids, text);
    } catch (const CommandError& e) {
        EXPECT_EQ(e.status(), ExitStatus::Failed);
        return e.what();
    }
    return "";
}

}  // namespace

TEST(JobSelectionTest, TakesAUniquePrefixOfFourCharacters) {
    EXPECT_EQ(selected({"abcd1", "abce1"}, "abcd"), "abcd1");
}

TEST(JobSelectionTest, RefusesAShorterPrefix) {
    EXPECT_EQ(complaint({"abcd1"}, "abc"),
              "\"abc\" is too short for a job id: give at least 4 characters");
}

TEST(JobSelectionTest, TakesAFullIdHoweverShort) {
    EXPECT_EQ(selected({"ab", "abcd"}, "ab"), "ab");
}

TEST(JobSelectionTest, PrefersAFullIdToALongerOneThatBeginsWithIt) {
    EXPECT_EQ(selected({"abcdef", "abcd"}, "abcd"), "abcd");
}

TEST(JobSelectionTest, RefusesAnAmbiguousPrefix) {
    EXPECT_EQ(complaint({"abcd1", "abcd2", "x"}, "abcd"),
              "\"abcd\" begins the id of 2 running jobs: give more of it");
}

TEST(JobSelectionTest, RefusesAnUnknownId) {
    EXPECT_EQ(complaint({"abcd1"}, "abcx"), "no running job has the id \"abcx\"");
    EXPECT_EQ(complaint({}, "abcx"), "no running job has the id \"abcx\"");
}

TEST(JobSelectionTest, RefusesEmptyText) {
    EXPECT_NE(complaint({"abcd1"}, ""), "");
}

}  // namespace tarn::cli
