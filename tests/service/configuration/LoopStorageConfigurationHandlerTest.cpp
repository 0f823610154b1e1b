#include "service/configuration/LoopStorageConfigurationHandler.h"

#include <gmock/gmock.h>

#include "tests/service/configuration/ParsedElement.h"

namespace tarn::service::configuration {

namespace {

const std::string header = "LoopStorageConfigurationHandler > LoopStorage configuration error: ";

class LoopStorageTest : public testing::Test {
  protected:
    bool parse(const std::string& children) {
        return handler.parseXml(*ParsedElement("<Storage>" + children + "</Storage>"), error);
    }

    bool parseTcp(const std::string& port) {
        return parse(
            "<InterfaceType>tcp</InterfaceType><InterfaceAddress>host</InterfaceAddress>"
            "<TcpPort>" +
            port + "</TcpPort>");
    }

    std::string errorOf(const std::string& children) {
        EXPECT_FALSE(parse(children)) << children;
        EXPECT_FALSE(handler.isValid());
        return error;
    }

    LoopStorageConfigurationHandler handler;
    std::string error = "from before";
};

const std::string unixType = "<InterfaceType>unix</InterfaceType>";
const std::string tcpType = "<InterfaceType>tcp</InterfaceType>";
const std::string address = "<InterfaceAddress>/tmp/s</InterfaceAddress>";

}  // namespace

TEST_F(LoopStorageTest, IsInvalidWhenItIsMade) {
    EXPECT_FALSE(handler.isValid());
    EXPECT_FALSE(handler.isTcpInterface());
    EXPECT_EQ(handler.getAddress(), "");
    EXPECT_EQ(handler.getPort(), 0);
    EXPECT_EQ(handler.toString(), "Invalid");
}

TEST_F(LoopStorageTest, TakesATcpInterface) {
    ASSERT_TRUE(parseTcp("5000")) << error;
    EXPECT_EQ(error, "");
    EXPECT_TRUE(handler.isValid());
    EXPECT_TRUE(handler.isTcpInterface());
    EXPECT_EQ(handler.getAddress(), "host");
    EXPECT_EQ(handler.getPort(), 5000);
    EXPECT_EQ(handler.toString(), "TCP host:5000");
}

TEST_F(LoopStorageTest, AUnixInterfaceNeedsNoPort) {
    ASSERT_TRUE(parse(unixType + address)) << error;
    EXPECT_FALSE(handler.isTcpInterface());
    EXPECT_EQ(handler.toString(), "IPC /tmp/s");
}

TEST_F(LoopStorageTest, AUnixInterfaceIgnoresThePort) {
    ASSERT_TRUE(parse(unixType + address + "<TcpPort>abc</TcpPort>")) << error;
    EXPECT_EQ(handler.getPort(), 0);
}

TEST_F(LoopStorageTest, AMissingInterfaceTypeIsRefused) {
    EXPECT_EQ(errorOf(address), header + "no InterfaceType node");
}

TEST_F(LoopStorageTest, TheInterfaceTypeIsOneOfTwoExactly) {
    const std::string invalid = header + "InterfaceType must be either tcp or unix";
    EXPECT_EQ(errorOf("<InterfaceType>TCP</InterfaceType>" + address), invalid);
    EXPECT_EQ(errorOf("<InterfaceType/>" + address), invalid);
    EXPECT_EQ(errorOf("<InterfaceType>unix </InterfaceType>" + address), invalid);
}

TEST_F(LoopStorageTest, NamesOfElementsIgnoreCase) {
    EXPECT_TRUE(parse("<interfacetype>unix</interfacetype>" + address)) << error;
}

TEST_F(LoopStorageTest, TheFirstOfSeveralElementsCounts) {
    ASSERT_TRUE(parse(unixType + "<InterfaceType>x</InterfaceType>" + address +
                      "<InterfaceAddress>/tmp/2</InterfaceAddress>"))
        << error;
    EXPECT_EQ(handler.getAddress(), "/tmp/s");
}

TEST_F(LoopStorageTest, AMissingAddressIsRefused) {
    EXPECT_EQ(errorOf(unixType), header + "no InterfaceAddress node");
}

TEST_F(LoopStorageTest, AnEmptyAddressIsRefused) {
    EXPECT_EQ(errorOf(unixType + "<InterfaceAddress/>"), header + "InterfaceAddress is empty");
}

TEST_F(LoopStorageTest, TheAddressIsTheElementsOwnValue) {
    ASSERT_TRUE(parse(unixType + "<InterfaceAddress><x>no</x>/tmp/s</InterfaceAddress>")) << error;
    EXPECT_EQ(handler.getAddress(), "/tmp/s");
}

TEST_F(LoopStorageTest, ATcpInterfaceNeedsAPort) {
    EXPECT_EQ(errorOf(tcpType + address), header + "no TcpPort node on a tcp InterfaceType");
}

TEST_F(LoopStorageTest, ThePortIsCutToItsLowSixteenBits) {
    ASSERT_TRUE(parseTcp("65537"));
    EXPECT_EQ(handler.getPort(), 1);
    ASSERT_TRUE(parseTcp("70000"));
    EXPECT_EQ(handler.getPort(), 4464);
    ASSERT_TRUE(parseTcp("-1"));
    EXPECT_EQ(handler.getPort(), 65535);
}

TEST_F(LoopStorageTest, APortThatIsZeroAfterTheCutIsRefused) {
    for (const char* const port : {"0", "65536", "-65536"}) {
        EXPECT_FALSE(parseTcp(port)) << port;
        EXPECT_EQ(error, header + "invalid TcpPort value");
    }
}

TEST_F(LoopStorageTest, APortMayHaveBlanksBeforeAndTextBehindTheNumber) {
    ASSERT_TRUE(parseTcp(" 5000"));
    EXPECT_EQ(handler.getPort(), 5000);
    ASSERT_TRUE(parseTcp("5000abc"));
    EXPECT_EQ(handler.getPort(), 5000);
}

TEST_F(LoopStorageTest, APortThatIsNoNumberIsRefused) {
    for (const char* const port : {"abc", "", " ", "2147483648", "-2147483649"}) {
        EXPECT_FALSE(parseTcp(port)) << port;
        EXPECT_EQ(error, header + "invalid TcpPort value");
    }
}

TEST_F(LoopStorageTest, AFailedParseMakesAValidHandlerInvalid) {
    ASSERT_TRUE(parseTcp("5000"));
    EXPECT_FALSE(parse(""));
    EXPECT_EQ(handler.toString(), "Invalid");
    EXPECT_EQ(handler.getAddress(), "");
    EXPECT_EQ(handler.getPort(), 0);
}

TEST_F(LoopStorageTest, TakesTheFingerprintOfAServerOverTcp) {
    const std::string print(64, 'A');
    const std::string plain(64, 'a');
    const auto port = tcpType + address + "<TcpPort>1</TcpPort>";
    ASSERT_TRUE(parse(port + "<Fingerprint>" + print + "</Fingerprint>")) << error;
    EXPECT_EQ(handler.getFingerprint(), plain);
    ASSERT_TRUE(parse(port));
    EXPECT_EQ(handler.getFingerprint(), "");
    ASSERT_TRUE(parse(unixType + address + "<Fingerprint>none</Fingerprint>"));
    EXPECT_EQ(handler.getFingerprint(), "");
}

TEST_F(LoopStorageTest, AFingerprintThatIsNoneIsNotTakenForNone) {
    const auto port = tcpType + address + "<TcpPort>1</TcpPort>";
    for (const auto* const text : {"", "none", "abcd"}) {
        EXPECT_EQ(errorOf(port + "<Fingerprint>" + text + "</Fingerprint>"),
                  header + "Fingerprint is not of 64 hexadecimal digits");
    }
}

}  // namespace tarn::service::configuration
