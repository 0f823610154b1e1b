#include <gmock/gmock.h>
#include <sys/stat.h>

#include "cli/doctor/Checks.h"
#include "tests/cli/doctor/TestMachine.h"

// What the packages put on the machine: users, folders, configuration, plug-ins.
namespace tarn::cli {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class DoctorsInstallationTest : public testing::Test {
  protected:
    DoctorsInstallationTest() {
        for (const auto kept : {"/run/halden-tarn", "/var/log/halden-tarn", "/var/lib/halden-tarn",
                                "/usr/share/TarnJobs", "/var/lib/halden-tarn-loop-storage"}) {
            test.make(kept, fs::perms(0750));
        }
        test.write("/etc/TarnConfiguration.xml", "<TarnHubConfig>\n</TarnHubConfig>\n");
        fs::permissions(test.machine.at("/etc/TarnConfiguration.xml"), fs::perms(0644));
    }

    TestMachine test;
    Machine& machine = test.machine;
};

}  // namespace

TEST_F(DoctorsInstallationTest, UsersAndGroupsThatAreThereAreNoFinding) {
    EXPECT_THAT(textsOf(checkUsers(machine)), IsEmpty());
}

TEST_F(DoctorsInstallationTest, UsersAndGroupsThatAreMissingAreNamed) {
    test.write("/etc/passwd", "root:x:0:0::/root:/bin/sh\n");
    test.write("/etc/group", "tarn-read:x:990:\n");
    EXPECT_THAT(
        textsOf(checkUsers(machine)),
        ElementsAre("error: there is no user tarn", "error: there is no user tarn-store",
                    "error: there is no user tarn-job", "error: there is no group tarn-operate",
                    "error: there is no group tarn-admin"));
}

TEST_F(DoctorsInstallationTest, AServiceThatCannotLetReadersInIsFound) {
    test.write("/etc/group",
               "tarn-read:x:990:tarn-store,tarnish\ntarn-operate:x:1:\ntarn-admin:x:2:\n");
    EXPECT_THAT(
        textsOf(checkUsers(machine)),
        ElementsAre("error: user tarn is not in the group tarn-read, and cannot let it in"));
}

TEST_F(DoctorsInstallationTest, LinesThatAreNoAccountsAreLeftOut) {
    test.write("/etc/passwd", "\n:::\ntarn\ntarn:x\n" + std::string(1000, 'x'));
    EXPECT_THAT(textsOf(checkUsers(machine)), Contains("error: there is no user tarn"));
}

TEST_F(DoctorsInstallationTest, FoldersAsTheyShouldBeAreNoFinding) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "the configuration has to belong to root";
    }
    EXPECT_THAT(textsOf(checkFolders(machine)), IsEmpty());
}

TEST_F(DoctorsInstallationTest, AFolderThatOthersMayWriteIsAnErrorAndOneThatTheyMayReadAWarning) {
    test.make("/run/halden-tarn", fs::perms(0777));
    test.make("/var/log/halden-tarn", fs::perms(0755));
    const auto texts = textsOf(checkFolders(machine));
    EXPECT_THAT(texts,
                Contains("error: /run/halden-tarn has the mode 0777, which is more than 0750"));
    EXPECT_THAT(
        texts,
        Contains("warning: /var/log/halden-tarn has the mode 0755, which is more than 0750"));
}

TEST_F(DoctorsInstallationTest, AFolderThatIsNotThereOrALinkIsAnError) {
    fs::remove(machine.at("/var/lib/halden-tarn"));
    fs::remove(machine.at("/run/halden-tarn"));
    fs::create_symlink("/etc", machine.at("/run/halden-tarn"));
    const auto texts = textsOf(checkFolders(machine));
    EXPECT_THAT(texts, Contains("error: /var/lib/halden-tarn: No such file or directory"));
    EXPECT_THAT(texts, Contains("error: /run/halden-tarn is a symbolic link"));
}

TEST_F(DoctorsInstallationTest, AFolderOfSomebodyElseIsAnErrorThatNamesHim) {
    test.write("/etc/passwd",
               "tarn:x:54321:1::/:/x\nmallory:x:" + std::to_string(::geteuid()) + ":1::/:/x\n");
    EXPECT_THAT(textsOf(checkFolders(machine)),
                Contains("error: /usr/share/TarnJobs belongs to mallory instead of tarn"));
}

TEST_F(DoctorsInstallationTest, TheFolderOfPersistentJobsIsTheConfiguredOne) {
    machine.settings.persistentJobsFolder = "/srv/jobs";
    EXPECT_THAT(textsOf(checkFolders(machine)),
                Contains("error: /srv/jobs: No such file or directory"));
    machine.settings.persistentJobsFolder.clear();
    EXPECT_THAT(textsOf(checkFolders(machine)), Not(Contains(HasSubstr("obs"))));
}

TEST_F(DoctorsInstallationTest, WhatIsWrongWithTheConfigurationIsAFindingWithItsLine) {
    test.write("/etc/TarnConfiguration.xml",
               "<TarnHubConfig>\n<Endpoints><RequestsEndpoint>x</RequestsEndpoint></Endpoints>\n"
               "<Nonsense>1</Nonsense>\n</TarnHubConfig>\n");
    const auto texts = textsOf(checkConfiguration(machine));
    EXPECT_THAT(
        texts,
        Contains(HasSubstr("error: /etc/TarnConfiguration.xml:2: element RequestsEndpoint: ")));
    EXPECT_THAT(texts,
                Contains(HasSubstr("warning: /etc/TarnConfiguration.xml:3: element Nonsense: ")));
}

TEST_F(DoctorsInstallationTest, APluginThatEndsItsProcessIsAnError) {
    const auto trial = machine.at("/opt/halden/halden-tarn-service/bin/tarnPluginTrial").string();
    machine.settings.plugins = {"/a.so"};
    test.programs[trial] = {113, ""};
    EXPECT_THAT(textsOf(checkPlugins(machine)), IsEmpty());
    for (const int status : {-1, 0, 1}) {
        test.programs[trial] = {status, ""};
        EXPECT_THAT(
            textsOf(checkPlugins(machine)),
            ElementsAre(
                "error: /a.so ends the process that loads it, so the service leaves it out"));
    }
    EXPECT_THAT(test.ran.back(), ElementsAre(trial, "/a.so"));
}

TEST_F(DoctorsInstallationTest, APluginThatCannotBeTriedIsNotSeen) {
    machine.settings.plugins = {"/a.so"};
    EXPECT_THAT(textsOf(checkPlugins(machine)),
                ElementsAre(HasSubstr("not seen: /a.so cannot be tried")));
}

}  // namespace tarn::cli
