#include "service/configuration/ConfigurationCheck.h"

#include <sys/stat.h>

#include <chrono>
#include <filesystem>

#include "platform/keys/SecretKeyFile.h"
#include "platform/tls/CertifiedKey.h"
#include "tests/service/configuration/ConfigurationFixture.h"

namespace tarn::service::configuration {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class ConfigurationCheckTest : public ConfigurationFixture {
  protected:
    ConfigurationCheckTest() {
        const std::string program = folder.write("program", "");
        ::chmod(program.c_str(), 0755);
        launchers = "<Paths><WorkflowLauncher>" + program + "</WorkflowLauncher><EngineLauncher>" +
                    program + "</EngineLauncher></Paths>\n";
    }

    /// "error 3 Element: text" each.
    std::vector<std::string> problemsOf(const std::string& content) {
        folder.write("configuration.xml", content);
        std::vector<std::string> lines;
        for (const auto& problem : checkConfigurationFile(path)) {
            const bool isError = problem.severity == ProblemSeverity::Error;
            lines.push_back((isError ? "error " : "warning ") + std::to_string(problem.line) + " " +
                            problem.element + ": " + problem.text);
        }
        return lines;
    }

    /// The launchers exist; `sections` begin on line 3.
    std::vector<std::string> problemsOfSections(const std::string& sections) {
        return problemsOf("<TarnHubConfig>\n" + launchers + sections + "\n</TarnHubConfig>\n");
    }

    std::string launchers;
};

}  // namespace

TEST_F(ConfigurationCheckTest, FindsNothingInAGoodFileAndLoadsNothing) {
    const std::string plugin = folder.write("plugin.so", "");
    EXPECT_THAT(
        problemsOfSections(
            "<Endpoints><RequestsEndpoint>tcp://127.0.0.1:7000</RequestsEndpoint></Endpoints>"
            "<KLN><Plugin>" +
            plugin +
            "</Plugin><Plugin>searched.so</Plugin></KLN>"
            "<Resources><TcpPorts interface='*' from='10' to='20'/></Resources>"
            "<TarnProtocolDevice><MonitoringInterface>ipc:///tmp/d</MonitoringInterface>"
            "</TarnProtocolDevice>"),
        IsEmpty());
}

TEST_F(ConfigurationCheckTest, SaysWhyAFileCannotBeOpened) {
    const auto problems = checkConfigurationFile("/no/such/file");
    ASSERT_EQ(problems.size(), 1U);
    EXPECT_EQ(problems[0].text, "Failed opening /no/such/file: No such file or directory");
    EXPECT_EQ(checkConfigurationFile(folder.path()).at(0).text,
              "Failed opening " + folder.path().string() + ": not a regular file");
}

TEST_F(ConfigurationCheckTest, NamesTheLineOfAParseError) {
    EXPECT_THAT(problemsOf("<TarnHubConfig>\n<a\n"),
                ElementsAre("error 2 : Failed reading " + path + ": expected >"));
}

TEST_F(ConfigurationCheckTest, TellsOfTheLastCharacterThatIsNotRead) {
    EXPECT_THAT(problemsOf("<TarnHubConfig></TarnHubConfig>"),
                ElementsAre("error 1 : Failed reading " + path +
                            ": expected >: the last character of the file is not read "
                            "and must be a line break"));
}

TEST_F(ConfigurationCheckTest, NamesElementAndLineOfTheReadersError) {
    EXPECT_THAT(problemsOfSections("\n<Resources><tcpports from='1'/></Resources>"),
                ElementsAre("error 4 tcpports: Missing \"interface\" attribute in TcpPorts node"));
    EXPECT_THAT(problemsOfSections("<DeltacastService>\n<CommandLine/></DeltacastService>"),
                ElementsAre("error 4 CommandLine: DeltacastService configuration error: "
                            "CommandLine node error"));
    EXPECT_THAT(problemsOfSections("<Storage type='LoopStorage'>\n</Storage>"),
                ElementsAre("error 3 Storage: LoopStorage configuration error: "
                            "no InterfaceType node"));
}

TEST_F(ConfigurationCheckTest, ReportsANumberThatMakesTheReaderThrow) {
    EXPECT_THAT(problemsOfSections("<Resources><TcpPorts interface='e' from='1' to='x'/>"
                                   "</Resources>"),
                ElementsAre("error 3 TcpPorts: TcpPorts attribute \"to\" is not a decimal number: "
                            "\"x\""));
}

TEST_F(ConfigurationCheckTest, ReportsAnotherRoot) {
    EXPECT_THAT(problemsOf("<Other/>\n"), ElementsAre("error 0 : Invalid root node in " + path));
}

TEST_F(ConfigurationCheckTest, ReportsTheReadersErrorFirstAndThenTheRestByLine) {
    EXPECT_THAT(
        problemsOfSections("<KLN>\n<Plugin>/no/such.so</Plugin></KLN>\n<Wrong/>\n"
                           "<TarnProtocolDevice><MonitorInterface/></TarnProtocolDevice>"),
        ElementsAre("error 6 TarnProtocolDevice: Missing \"MonitoringInterface\" node in "
                    "TarnProtocolDevice",
                    "warning 4 Plugin: Plugin \"/no/such.so\" cannot be loaded: "
                    "No such file or directory",
                    "warning 5 Wrong: Unknown element \"Wrong\" in \"TarnHubConfig\" is ignored",
                    "warning 6 MonitorInterface: Unknown element \"MonitorInterface\" in "
                    "\"TarnProtocolDevice\" is ignored"));
}

TEST_F(ConfigurationCheckTest, ReportsEndpointsThatDoNotParse) {
    EXPECT_THAT(
        problemsOfSections("<Endpoints>\n<RequestsEndpoint>udp://x:1</RequestsEndpoint>\n"
                           "<EventsEndpoint>tcp://x</EventsEndpoint>\n"
                           "<ResourcesEndpoint>ipc://</ResourcesEndpoint></Endpoints>\n"
                           "<TarnProtocolDevice><MonitoringInterface>nowhere"
                           "</MonitoringInterface></TarnProtocolDevice>"),
        ElementsAre(HasSubstr("error 4 RequestsEndpoint: RequestsEndpoint cannot be used: "),
                    HasSubstr("error 5 EventsEndpoint: EventsEndpoint cannot be used: "),
                    HasSubstr("error 6 ResourcesEndpoint: ResourcesEndpoint cannot be used: "),
                    HasSubstr("error 7 MonitoringInterface: MonitoringInterface cannot be used")));
}

TEST_F(ConfigurationCheckTest, AnEndpointThatALaterOneReplacesIsNotLookedAt) {
    EXPECT_THAT(problemsOfSections("<Endpoints><RequestsEndpoint>x</RequestsEndpoint>"
                                   "<RequestsEndpoint>ipc:///tmp/r</RequestsEndpoint>"
                                   "<RequestsEndpoint/></Endpoints>"),
                IsEmpty());
}

TEST_F(ConfigurationCheckTest, ReportsLaunchersThatCannotBeRun) {
    const std::string plain = folder.write("plain", "");
    ::chmod(plain.c_str(), 0644);
    EXPECT_THAT(
        problemsOfSections("<Paths><WorkflowLauncher>" + plain +
                           "</WorkflowLauncher>\n<EngineLauncher>/tmp</EngineLauncher></Paths>"),
        ElementsAre("warning 3 WorkflowLauncher: WorkflowLauncher \"" + plain +
                        "\" cannot be run: Permission denied",
                    "warning 4 EngineLauncher: EngineLauncher \"/tmp\" cannot be run: not a file"));
}

TEST_F(ConfigurationCheckTest, LooksAtTheBuiltInLaunchersWhenTheFileNamesNone) {
    if (std::filesystem::exists("/opt/halden")) {
        GTEST_SKIP() << "the launchers may be installed here";
    }
    EXPECT_THAT(
        problemsOf("<TarnHubConfig/>\n"),
        ElementsAre(HasSubstr("warning 0 WorkflowLauncher: WorkflowLauncher \"/opt/halden/"),
                    HasSubstr("warning 0 EngineLauncher: EngineLauncher \"/opt/halden/")));
}

TEST_F(ConfigurationCheckTest, WarnsOfWhatFollowsAZeroByte) {
    EXPECT_THAT(problemsOf("<TarnHubConfig>\n" + launchers + "</TarnHubConfig>\n" +
                           std::string("\0<KLN/>\n", 8)),
                ElementsAre("warning 4 : What follows a zero byte is not read"));
}

TEST_F(ConfigurationCheckTest, ReportsAnInputListThatTheCommandLineCannotBeFilledWith) {
    EXPECT_THAT(problemsOfSections(
                    "<DeltacastService><CommandLine>svc %board0-input-list "
                    "%board0-input-frameoffset</CommandLine>"
                    "<DefaultPixelFormat>rgb24</DefaultPixelFormat>\n"
                    "<DefaultBoard0InputList>%board0-input-list</DefaultBoard0InputList>\n"
                    "<DefaultBoard0InputFrameOffsetList>0 %board0-input-frameoffset"
                    "</DefaultBoard0InputFrameOffsetList>"
                    "<DefaultLineCount>720</DefaultLineCount><DefaultFieldMode>p</DefaultFieldMode>"
                    "<DefaultFrameRate>25</DefaultFrameRate></DeltacastService>"),
                ElementsAre("error 4 DefaultBoard0InputList: The command line cannot be filled "
                            "with \"%board0-input-list\" in the place of %board0-input-list",
                            "error 5 DefaultBoard0InputFrameOffsetList: The command line cannot be "
                            "filled with \"0 %board0-input-frameoffset\" in the place of "
                            "%board0-input-frameoffset"));
}

TEST_F(ConfigurationCheckTest, WarnsOfPortsThatAreNotUsedAsWritten) {
    EXPECT_THAT(
        problemsOfSections("<Resources>\n<TcpPorts interface='a' from='70000' to='5000'/>\n"
                           "<TcpPorts interface='b' from='20' to='10'/></Resources>"),
        ElementsAre("warning 4 TcpPorts: TcpPorts attribute \"from\" is used as 4464: \"70000\"",
                    "warning 5 TcpPorts: TcpPorts of interface \"b\" run downwards, from 20 to "
                    "10"));
}

TEST_F(ConfigurationCheckTest, TakesEveryPortThatThereIs) {
    EXPECT_THAT(problemsOfSections("<Resources><TcpPorts interface='a' from='1' to='65535'/>"
                                   "<TcpPorts interface='b' from='20' to='20'/></Resources>"),
                IsEmpty());
    EXPECT_THAT(
        problemsOfSections("<Resources><TcpPorts interface='a' from='0' to='65536'/></Resources>"),
        ElementsAre("warning 3 TcpPorts: TcpPorts attribute \"from\" is used as 0: \"0\"",
                    "warning 3 TcpPorts: TcpPorts attribute \"to\" is used as 0: \"65536\""));
}

TEST_F(ConfigurationCheckTest, WarnsOfAStorageThatIsIgnored) {
    EXPECT_THAT(problemsOfSections("<Storage type='loopstorage'><Any/></Storage>"),
                ElementsAre("warning 3 Storage: Storage is ignored: its type is not "
                            "\"LoopStorage\""));
}

TEST_F(ConfigurationCheckTest, StopsAtTheHundredthProblemAndIsQuick) {
    std::string sections;
    for (unsigned count = 0; count < 50'000; ++count) {
        sections += "<KLN><Plugin>/no/such.so</Plugin></KLN><Wrong/>\n";
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(problemsOfSections(sections).size(), 100U);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST_F(ConfigurationCheckTest, AnEndpointBeyondThisMachineWithoutKeysIsAnError) {
    const std::string everywhere =
        "<Endpoints><EventsEndpoint>tcp://*:7001</EventsEndpoint></Endpoints>";
    EXPECT_THAT(problemsOfSections(everywhere),
                ElementsAre(HasSubstr("error 3 EventsEndpoint: tcp://*:7001 reaches beyond this "
                                      "machine without encryption")));
    EXPECT_THAT(problemsOfSections(everywhere + "<Security required='true'/>"),
                ElementsAre(HasSubstr("reaches beyond this machine and is refused")));
    EXPECT_THAT(problemsOfSections("<TarnProtocolDevice><MonitoringInterface>tcp://far:1"
                                   "</MonitoringInterface></TarnProtocolDevice>"),
                ElementsAre(HasSubstr("error 3 MonitoringInterface: tcp://far:1 reaches")));
}

TEST_F(ConfigurationCheckTest, LooksIntoTheFilesOfKeys) {
    const std::string key = (folder.path() / "key").string();
    keys::writeSecretKeyFile(key, keys::generateKeyPair());
    const std::string clients = folder.write("clients", "# nobody yet\n");
    const auto security = [](const std::string& keyFile, const std::string& clientKeys) {
        return "<Endpoints><EventsEndpoint>tcp://*:7001</EventsEndpoint></Endpoints><Security>"
               "<KeyFile>" +
               keyFile + "</KeyFile><ClientKeys>" + clientKeys + "</ClientKeys></Security>";
    };
    EXPECT_THAT(problemsOfSections(security(key, clients)), IsEmpty());
    EXPECT_THAT(problemsOfSections(security(key + "x", clients)),
                ElementsAre(HasSubstr("error 3 KeyFile: " + key + "x: No such file")));
    folder.write("clients", "\nroot me\n");
    EXPECT_THAT(problemsOfSections(security(key, clients)),
                ElementsAre(HasSubstr("error 3 ClientKeys: " + clients + " line 2: ")));
    EXPECT_THAT(problemsOfSections(security(key, clients + "x")),
                ElementsAre(HasSubstr("cannot be read")));
}

namespace {

std::string storageAt(const std::string& address, const std::string& further = {}) {
    return "<Storage type='LoopStorage'><InterfaceType>tcp</InterfaceType><InterfaceAddress>" +
           address + "</InterfaceAddress><TcpPort>7000</TcpPort>" + further + "</Storage>";
}

std::string storageCertificate(const std::string& file) {
    return "<Security><StorageCertificate>" + file + "</StorageCertificate></Security>";
}

}  // namespace

TEST_F(ConfigurationCheckTest, AStorageBeyondThisMachineWithoutEncryptionIsAnError) {
    EXPECT_THAT(problemsOfSections(storageAt("localhost")), IsEmpty());
    EXPECT_THAT(problemsOfSections(storageAt("far")),
                ElementsAre(HasSubstr("error 3 Storage: LoopStorage TCP far:7000: it is beyond "
                                      "this machine")));
}

TEST_F(ConfigurationCheckTest, ACertificateAndTheFingerprintsOfStoragesBelongTogether) {
    const auto file = (folder.path() / "storage.pem").string();
    const auto now = std::chrono::system_clock::now();
    const auto days = [](int count) { return std::chrono::hours(24 * count); };
    tls::writeCertifiedKeyFile(
        file, tls::generateCertifiedKey("service", {.begin = now, .end = now + days(365)}));
    const auto known = storageAt("far", "<Fingerprint>" + std::string(64, 'a') + "</Fingerprint>");
    EXPECT_THAT(problemsOfSections(storageCertificate(file) + known), IsEmpty());
    EXPECT_THAT(problemsOfSections(known),
                ElementsAre(HasSubstr("Security has no StorageCertificate")));
    EXPECT_THAT(problemsOfSections(storageCertificate(file) + storageAt("localhost")),
                ElementsAre(HasSubstr("but this storage no Fingerprint")));
}

TEST_F(ConfigurationCheckTest, LooksIntoTheCertificateForStorages) {
    const auto now = std::chrono::system_clock::now();
    const auto days = [](int count) { return std::chrono::hours(24 * count); };
    const auto problemsOf = [&](const std::string& name, int begin, int end) {
        const auto file = (folder.path() / name).string();
        tls::writeCertifiedKeyFile(
            file, tls::generateCertifiedKey(name, {now + days(begin), now + days(end)}));
        return problemsOfSections(storageCertificate(file));
    };
    EXPECT_THAT(problemsOf("good", -1, 365), IsEmpty());
    EXPECT_THAT(problemsOf("old", -2, -1), ElementsAre(HasSubstr("its certificate has expired")));
    EXPECT_THAT(problemsOf("soon", -1, 8),
                ElementsAre(AllOf(HasSubstr("warning"), HasSubstr("expires in 7 days"))));
    EXPECT_THAT(problemsOfSections(storageCertificate("/nowhere")),
                ElementsAre(HasSubstr("error 3 StorageCertificate: /nowhere: No such file")));
}

}  // namespace tarn::service::configuration
