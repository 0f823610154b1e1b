#include <gmock/gmock.h>

#include "tests/service/api/ApiBed.h"

namespace tarn::service {

using tarn::proto::api_service::ApiToServiceRequest;
using tarn::proto::api_service::ServiceToApiReply;
using tarn::proto::api_service::ServiceToApiReplyInfo;

constexpr auto unixStorage =
    "<Storage type=\"LoopStorage\"><InterfaceType>unix</InterfaceType>"
    "<InterfaceAddress>/tmp/storage</InterfaceAddress></Storage>";
constexpr auto tcpStorage =
    "<Storage type=\"LoopStorage\"><InterfaceType>tcp</InterfaceType>"
    "<InterfaceAddress>127.0.0.1</InterfaceAddress><TcpPort>5000</TcpPort></Storage>";

ServiceToApiReplyInfo askInfo(test::ApiBed& bed) {
    bed.start();
    auto reply = bed.ask(ApiToServiceRequest::GET_INFO);
    EXPECT_EQ(reply.type(), ServiceToApiReply::INFO);
    EXPECT_TRUE(reply.success());
    return *reply.MutableExtension(ServiceToApiReplyInfo::base);
}

TEST(GetInfoTest, DescribesTheService) {
    test::ApiBed bed;
    const auto info = askInfo(bed);
    EXPECT_EQ(info.service_name(), "TarnService");
    EXPECT_EQ(info.version(), "service version TODO");
    EXPECT_EQ(info.events_endpoint(), "ipc:///tmp/events");
    EXPECT_FALSE(info.has_host_name());
    EXPECT_FALSE(info.has_start_time_seconds());
    ASSERT_EQ(info.components_dictionary().components_size(), 1);
    EXPECT_EQ(info.components_dictionary().components(0).name(), "a");
}

TEST(GetInfoTest, HasNoLoopStorageWhereNoneIsConfigured) {
    test::ApiBed bed;
    EXPECT_FALSE(askInfo(bed).has_loop_storage_configuration());
}

TEST(GetInfoTest, GivesTheAddressOfALoopStorageOnAUnixSocketAndNoPort) {
    test::ApiBed bed(unixStorage);
    const auto info = askInfo(bed);
    EXPECT_EQ(info.loop_storage_configuration().address(), "/tmp/storage");
    EXPECT_FALSE(info.loop_storage_configuration().has_port());
}

TEST(GetInfoTest, ReportsTheFirstOfSeveralLoopStorages) {
    test::ApiBed bed(std::string(tcpStorage) + unixStorage);
    const auto info = askInfo(bed);
    EXPECT_EQ(info.loop_storage_configuration().address(), "127.0.0.1");
    EXPECT_EQ(info.loop_storage_configuration().port(), 5000u);
}

}  // namespace tarn::service
