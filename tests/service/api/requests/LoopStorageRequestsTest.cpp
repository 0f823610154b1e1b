#include <gmock/gmock.h>

#include "service/configuration/LoopStorageConfigurationHandler.h"
#include "service/devices/storage/LoopStorageDeviceController.h"
#include "service/devices/storage/TrackTasks.h"
#include "tests/service/api/ApiBed.h"
#include "tests/service/fake_storage/FakeStorage.h"

namespace tarn::service {

using devices::LoopStorageDeviceController;
using tarn::proto::api_service::ApiToServiceRequest;
using tarn::proto::api_service::ApiToServiceRequestLoopStorage;
using tarn::proto::api_service::ServiceToApiReply;
using tarn::proto::api_service::ServiceToApiReplyLoopStorage;
using tarn::proto::loop_storage::CreateTrackReply;
using tarn::proto::loop_storage::CreateTrackRequest;
using tarn::proto::loop_storage::GetRemainingSpaceReply;
using tarn::proto::loop_storage::Reply;
using tarn::proto::loop_storage::Request;

constexpr auto storageSection =
    "<Storage type=\"LoopStorage\"><InterfaceType>unix</InterfaceType>"
    "<InterfaceAddress>/run/loops</InterfaceAddress></Storage>";

class LoopStorageRequestsTest : public testing::Test {
  protected:
    void startWithStorage() {
        bed.makeLoopStorageController = [this](const auto& configured) {
            return std::make_shared<LoopStorageDeviceController>(
                configured.getAddress(), LoopStorageDeviceController::Dependencies{tasks});
        };
        std::list<std::string> errors;
        bed.devices.initFromConfiguration(errors);
        bed.start();
    }

    static ApiToServiceRequest enveloped(const Request& request) {
        ApiToServiceRequest envelope;
        envelope.set_type(ApiToServiceRequest::LOOP_STORAGE);
        *envelope.MutableExtension(ApiToServiceRequestLoopStorage::base)->mutable_request() =
            request;
        return envelope;
    }

    /// The inner reply; the envelope must be a success.
    Reply ask(const ApiToServiceRequest& envelope) {
        const auto reply = bed.ask(envelope);
        EXPECT_EQ(reply.type(), ServiceToApiReply::LOOP_STORAGE);
        EXPECT_TRUE(reply.success());
        EXPECT_FALSE(reply.has_error_message());
        return reply.GetExtension(ServiceToApiReplyLoopStorage::base).reply();
    }
    Reply ask(Request::Type type) {
        Request request;
        request.set_type(type);
        return ask(enveloped(request));
    }

    static void expectError(const Reply& reply, const std::string& message) {
        EXPECT_EQ(reply.type(), Reply::ERROR);
        EXPECT_TRUE(reply.has_success());
        EXPECT_FALSE(reply.success());
        EXPECT_EQ(reply.error_message(), message);
    }

    test::FakeStorage storage{"/run/loops"};
    devices::TrackTasks tasks;
    test::ApiBed bed{storageSection};
};

TEST_F(LoopStorageRequestsTest, GivesTheStoragesAnswer) {
    storage.hasSpace(42);
    startWithStorage();
    const auto reply = ask(Request::GET_REMAINING_SPACE);
    EXPECT_EQ(reply.type(), Reply::GET_REMAINING_SPACE);
    EXPECT_TRUE(reply.success());
    EXPECT_EQ(reply.GetExtension(GetRemainingSpaceReply::base).remaining_space(), 42);
    EXPECT_TRUE(
        bed.log.contains("TRACE Api requests handler > Handling type: GET_REMAINING_SPACE"));
}

TEST_F(LoopStorageRequestsTest, SaysThatThereIsNoStorage) {
    bed.start();
    for (int type = Request::Type_MIN; type <= Request::Type_MAX; ++type) {
        if (Request::Type_IsValid(type)) {
            expectError(ask(static_cast<Request::Type>(type)),
                        "Storage device controller not found");
        }
    }
}

TEST_F(LoopStorageRequestsTest, TellsWhyTheStorageDidNotDoIt) {
    storage.fails("tarn_storage_get_remaining_space", "not now");
    startWithStorage();
    expectError(ask(Request::GET_REMAINING_SPACE), "not now");
    EXPECT_TRUE(bed.log.has("ERROR Api requests handler > Failed handling request: not now"));
}

TEST_F(LoopStorageRequestsTest, RefusesWhatIsNoRequest) {
    startWithStorage();
    const auto text =
        "LoopStorageDeviceController on /run/loops > "
        "Storage device controller: request type not handled";
    ApiToServiceRequest empty;
    empty.set_type(ApiToServiceRequest::LOOP_STORAGE);
    expectError(ask(empty), text);
    expectError(ask(Request::UNKNOWN), text);
    Request ofLater;
    ofLater.ParseFromString("\x08\x0b");  // type 11
    expectError(ask(enveloped(ofLater)), text);
}

TEST_F(LoopStorageRequestsTest, AnswersACreationAtOnce) {
    storage.holdsOperations();
    startWithStorage();
    const auto reply = ask(Request::CREATE_TRACK);
    EXPECT_EQ(reply.type(), Reply::CREATE_TRACK);
    EXPECT_EQ(reply.GetExtension(CreateTrackReply::base).ticket(), 10000001);
    storage.awaitHeld(1);
    EXPECT_TRUE(storage.tracks().empty());
    storage.letsGo();
    tasks.joinAll();
    EXPECT_EQ(storage.tracks().size(), 1U);
}

TEST_F(LoopStorageRequestsTest, WarnsWhenItTakesLongAndNamesTheRequest) {
    startWithStorage();
    bed.clockStep = std::chrono::seconds(6);
    ask(Request::GET_REMAINING_SPACE);
    EXPECT_TRUE(bed.log.waitFor("LoopStorage reply took"));
    EXPECT_TRUE(
        bed.log.has("WARN Api requests handler > LoopStorage request GET_REMAINING_SPACE took "
                    "longer than expected: 6ms, threshold at 5"));
    EXPECT_TRUE(
        bed.log.has("WARN Api requests handler > LoopStorage reply took longer than "
                    "expected: 6ms, threshold at 5"));
}

TEST_F(LoopStorageRequestsTest, SaysInTheWarningThatTheRequestFailed) {
    storage.goesDown();
    startWithStorage();
    bed.clockStep = std::chrono::seconds(6);
    expectError(ask(Request::GET_REMAINING_SPACE), "No connection to storage server");
    EXPECT_TRUE(bed.log.waitFor(
        "WARN Api requests handler > LoopStorage request (error) GET_REMAINING_SPACE took longer"));
}

TEST_F(LoopStorageRequestsTest, SaysInTheWarningThatThereWasNoStorage) {
    bed.start();
    bed.clockStep = std::chrono::seconds(6);
    ask(Request::CLEAR_TRACK);
    EXPECT_TRUE(bed.log.waitFor(
        "WARN Api requests handler > LoopStorage request (error) CLEAR_TRACK took longer"));
}

}  // namespace tarn::service
