#include "service/configuration/LimitsElement.h"

#include <gmock/gmock.h>

#include <vector>

#include "service/configuration/xml/XmlDocument.h"

namespace tarn::service::configuration {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Result {
    socket::Limits limits;
    std::vector<std::string> problems;
};

Result read(const std::string& attributes) {
    const XmlDocument document("<Limits " + attributes + "/>\n");
    Result result;
    readLimits(*firstChildElement(document.top(), "Limits"), result.limits,
               [&](const auto& problem) { result.problems.push_back(problem); });
    return result;
}

}  // namespace

TEST(LimitsElementTest, HasAnAttributeForEachLimit) {
    const auto [limits, problems] = read(
        "connectionsPerUser='7' waitingMiBPerUser='30' SUBMISSIONSPERSECOND='2' jobsPerUser='5'");
    EXPECT_EQ(limits.connectionsPerUser, 7U);
    EXPECT_EQ(limits.waitingBytesPerUser, 30U << 20);
    EXPECT_EQ(limits.submissionsPerSecond, 2U);
    EXPECT_EQ(limits.jobsPerUser, 5U);
    EXPECT_THAT(problems, IsEmpty());
}

TEST(LimitsElementTest, LeavesWhatIsNotThere) {
    const auto limits = read("jobsPerUser='5'").limits;
    EXPECT_EQ(limits.connectionsPerUser, socket::Limits().connectionsPerUser);
    EXPECT_EQ(limits.jobsPerUser, 5U);
}

TEST(LimitsElementTest, LeavesWhatIsNoNumberAndSaysSo) {
    for (const std::string text : {"", "0", "-1", "5 ", "1e3", "100001", "99999999999999999999"}) {
        const auto [limits, problems] = read("jobsPerUser='" + text + "'");
        EXPECT_EQ(limits.jobsPerUser, socket::Limits().jobsPerUser);
        EXPECT_THAT(problems,
                    ElementsAre("Limits attribute \"jobsPerUser\" is not a number from 1 to "
                                "100000: \"" +
                                text + "\""));
    }
}

TEST(LimitsElementTest, SaysOfAttributesThatItDoesNotHave) {
    EXPECT_THAT(read("jobsPerUsr='5'").problems,
                ElementsAre("Limits has no attribute \"jobsPerUsr\""));
}

}  // namespace tarn::service::configuration
