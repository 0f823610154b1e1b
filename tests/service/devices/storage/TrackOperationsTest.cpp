// What API clients may do with the tracks of a loop storage.
#include <thread>

#include "proto/loop_storage.pb.h"
#include "service/devices/storage/CreateTrackRunner.h"
#include "tests/service/devices/support/LoopStorageBed.h"
#include "tests/service/devices/support/StorageRequests.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::service::devices {

using namespace tarn::proto::loop_storage;
using namespace test::storage_requests;
using test::FakeStorage;
using testing::ElementsAre;
using testing::Pair;

class TrackOperationsTest : public test::LoopStorageBed {
  protected:
    TrackOperationsTest() { watch(); }

    /// What a request that is served comes to.
    Reply ask(Request request) {
        Reply reply;
        std::string error;
        EXPECT_TRUE(controller->handleApiRequest(request, reply, error)) << error;
        EXPECT_EQ(reply.type(), request.type() + 1);
        return reply;
    }

    /// The same of one that must succeed.
    Reply succeed(const Request& request) {
        auto reply = ask(request);
        EXPECT_TRUE(reply.success()) << reply.error_message();
        EXPECT_FALSE(reply.has_error_message());
        return reply;
    }

    /// Why a request is not served.
    std::string refusal(Request request) {
        Reply reply;
        std::string error;
        EXPECT_FALSE(controller->handleApiRequest(request, reply, error));
        return error;
    }

    std::int64_t create(std::uint64_t size) {
        return ticketOf<CreateTrackReply>(createTrack(size));
    }
    std::int64_t resize(std::int64_t track, std::uint64_t size) {
        return ticketOf<ResizeTrackReply>(resizeTrack(track, size));
    }
    std::int64_t destroy(std::int64_t track) {
        return ticketOf<DestroyTrackReply>(destroyTrack(track));
    }

    /// What is said of an operation that has ended.
    Reply end(std::int64_t ticket) {
        tasks.joinAll();
        return ask(ticketStatus(ticket));
    }
    static GetTicketStatusReply statusIn(const Reply& reply) {
        return reply.GetExtension(GetTicketStatusReply::base);
    }
    void expectFailure(const Reply& reply, const std::string& message) {
        EXPECT_FALSE(reply.success());
        EXPECT_EQ(reply.error_message(), message);
        EXPECT_EQ(statusIn(reply).status(), TICKET_NO_STATUS);
        EXPECT_FALSE(statusIn(reply).has_track_id());
    }

  private:
    template <typename Content>
    std::int64_t ticketOf(const Request& request) {
        return succeed(request).GetExtension(Content::base).ticket();
    }
};

TEST_F(TrackOperationsTest, DoesNotServeRequestsOfOtherTypes) {
    const auto text =
        "LoopStorageDeviceController on /run/loops > "
        "Storage device controller: request type not handled";
    EXPECT_EQ(refusal(Request()), text);
    Request unknown;
    unknown.ParseFromString("\x08\x0b");  // type 11
    EXPECT_EQ(refusal(unknown), text);
}

TEST_F(TrackOperationsTest, GivesTicketsInOneRowWhateverTheKind) {
    storage.has(FakeStorage::Track{});
    EXPECT_EQ(create(5), 10000001);
    EXPECT_EQ(resize(0, 6), 10000002);
    EXPECT_EQ(destroy(0), 10000003);
    EXPECT_EQ(create(5), 10000004);
}

TEST_F(TrackOperationsTest, CreatesATrack) {
    const auto reply = end(create(6000000000));
    EXPECT_TRUE(reply.success());
    EXPECT_EQ(statusIn(reply).status(), TICKET_FINISHED);
    EXPECT_EQ(statusIn(reply).track_id(), 0);
    EXPECT_EQ(storage.tracks().at(0).size, 6000000000U);
}

TEST_F(TrackOperationsTest, AnswersBeforeTheTrackIsThere) {
    storage.holdsOperations();
    const auto ticket = create(5);
    storage.awaitHeld(1);
    const auto pending = succeed(ticketStatus(ticket));
    EXPECT_EQ(statusIn(pending).status(), TICKET_RUNNING);
    EXPECT_FALSE(statusIn(pending).has_track_id());
    storage.letsGo();
    EXPECT_EQ(statusIn(end(ticket)).status(), TICKET_FINISHED);
}

TEST_F(TrackOperationsTest, RunsSlowOperationsBesideEachOther) {
    storage.holdsOperations();
    create(1);
    create(2);
    create(3);
    storage.awaitHeld(3);
    storage.letsGo();
    tasks.joinAll();
    EXPECT_EQ(storage.tracks().size(), 3U);
    EXPECT_EQ(storage.openConnections(), 0U);
}

TEST_F(TrackOperationsTest, TellsWhyATrackCouldNotBeCreated) {
    storage.fails("tarn_storage_track_create", "The disk is full");
    expectFailure(end(create(5)), "The disk is full");
}

TEST_F(TrackOperationsTest, DestroysATrack) {
    storage.has(FakeStorage::Track{});
    const auto reply = end(destroy(0));
    EXPECT_EQ(statusIn(reply).status(), TICKET_FINISHED);
    EXPECT_FALSE(statusIn(reply).has_track_id());
    EXPECT_TRUE(storage.tracks().empty());
    expectFailure(end(destroy(0)), "There is no track 0");
}

TEST_F(TrackOperationsTest, ResizesATrack) {
    storage.has({.size = 1});
    const auto reply = end(resize(0, 77));
    EXPECT_EQ(statusIn(reply).status(), TICKET_FINISHED);
    EXPECT_FALSE(statusIn(reply).has_track_id());
    EXPECT_EQ(storage.tracks().at(0).size, 77U);
    expectFailure(end(resize(5, 77)), "There is no track 5");
}

TEST_F(TrackOperationsTest, ReachingAnotherSizeIsAFailure) {
    storage.has({.size = 1});
    storage.resizesTo(80);
    expectFailure(end(resize(0, 77)), "Size after resize is 80 while 77 is expected");
}

TEST_F(TrackOperationsTest, FollowsAnOperationToItsEndHoweverLongItTakes) {
    storage.operationsTake(std::chrono::minutes(95));
    const auto created = end(create(6));
    EXPECT_TRUE(created.success()) << created.error_message();
    EXPECT_EQ(statusIn(created).status(), TICKET_FINISHED);
    EXPECT_EQ(statusIn(created).track_id(), 0);
    EXPECT_TRUE(end(resize(0, 7)).success());
    storage.resizesTo(8);
    expectFailure(end(resize(0, 7)), "Size after resize is 8 while 7 is expected");
    EXPECT_TRUE(end(destroy(0)).success());
    EXPECT_EQ(storage.openConnections(), 0U);
}

TEST_F(TrackOperationsTest, AnOperationThatTakesLongRunsUntilItHasEnded) {
    storage.operationsTake(std::chrono::minutes(15));
    storage.holds("tarn_storage_ticket_wait");
    const auto ticket = create(5);
    storage.awaitHeld(1);
    EXPECT_EQ(statusIn(succeed(ticketStatus(ticket))).status(), TICKET_RUNNING);
    storage.letsGo();
    EXPECT_EQ(statusIn(end(ticket)).status(), TICKET_FINISHED);
}

TEST_F(TrackOperationsTest, TellsWhatWentWrongWithAnOperationAfterALongTime) {
    storage.operationsTake(std::chrono::minutes(45));
    storage.fails("tarn_storage_ticket_wait", "The disk is full");
    expectFailure(end(create(5)), "The disk is full");
    storage.worksAgain("tarn_storage_ticket_wait");
    storage.holds("tarn_storage_ticket_wait");
    const auto ticket = create(5);
    storage.awaitHeld(1);
    storage.goesDown();
    storage.letsGo();
    expectFailure(end(ticket), "No connection to storage server");
}

TEST_F(TrackOperationsTest, TellsThatTheServerIsDown) {
    storage.goesDown();
    const auto text = "No connection to storage server";
    EXPECT_EQ(refusal(clearTrack(0)), text);
    EXPECT_EQ(refusal(setProperties(0, {{"a", "b"}})), text);
    EXPECT_EQ(refusal(trackSize(0)), text);
    EXPECT_EQ(refusal(remainingSpace()), text);
    EXPECT_EQ(refusal(properties(0)), text);
    EXPECT_EQ(refusal(removeProperties(0, {"a"})), text);
    expectFailure(end(create(5)), text);
    expectFailure(end(resize(0, 5)), text);
    expectFailure(end(destroy(0)), text);
    expectFailure(ask(ticketStatus(3)), text);
    EXPECT_TRUE(log.has("ERROR The storage server has gone"));
}

TEST_F(TrackOperationsTest, ClearsATrack) {
    storage.has({.size = 1, .beginning = 3, .end = 4});
    succeed(clearTrack(0));
    EXPECT_EQ(storage.tracks().at(0).end, -1);
    EXPECT_EQ(refusal(clearTrack(9)), "There is no track 9");
}

TEST_F(TrackOperationsTest, TellsTheSizeOfATrackAndTheRemainingSpace) {
    storage.has({.size = 5000000000});
    storage.hasSpace(7000000000);
    EXPECT_EQ(succeed(trackSize(0)).GetExtension(GetTrackSizeReply::base).size(), 5000000000);
    EXPECT_EQ(
        succeed(remainingSpace()).GetExtension(GetRemainingSpaceReply::base).remaining_space(),
        7000000000);
    EXPECT_EQ(refusal(trackSize(4)), "There is no track 4");
    storage.fails("tarn_storage_get_remaining_space", "not now");
    EXPECT_EQ(refusal(remainingSpace()), "not now");
}

TEST_F(TrackOperationsTest, SetsTellsAndRemovesProperties) {
    storage.has({.size = 1, .properties = {{"a", "1"}, {"b", "2"}}});
    succeed(setProperties(0, {{"b", ""}, {"c", "3"}}));
    const auto told = succeed(properties(0)).GetExtension(GetTrackPropertiesReply::base);
    ASSERT_EQ(told.properties_size(), 3);
    EXPECT_EQ(told.properties(1).name(), "b");
    EXPECT_EQ(told.properties(1).value(), "");
    EXPECT_EQ(told.properties(2).value(), "3");
    succeed(removeProperties(0, {"a", "b"}));
    EXPECT_THAT(storage.tracks().at(0).properties, ElementsAre(Pair("c", "3")));
}

TEST_F(TrackOperationsTest, TellsWhyPropertiesCannotBeReadOrChanged) {
    EXPECT_EQ(refusal(properties(2)), "There is no track 2");
    EXPECT_EQ(refusal(setProperties(2, {})), "There is no track 2");
    EXPECT_EQ(refusal(removeProperties(2, {})), "There is no track 2");
}

TEST_F(TrackOperationsTest, TellsOfTheServersOwnTickets) {
    const int wanted[] = {TICKET_QUEUED, TICKET_FINISHED, TICKET_FAILED, TICKET_CANCELLED,
                          TICKET_RUNNING};
    for (int state = 0; state <= 4; ++state) {
        storage.hasTicket(state, state);
        EXPECT_EQ(statusIn(succeed(ticketStatus(state))).status(), wanted[state]);
    }
    storage.hasTicket(5, 5);
    storage.hasTicket(6, -1);
    expectFailure(ask(ticketStatus(5)), "Unknown ticket status");
    expectFailure(ask(ticketStatus(6)), "Unknown ticket status");
    expectFailure(ask(ticketStatus(7)), "There is no ticket 7");
}

TEST_F(TrackOperationsTest, RefusesARequestThatNamesNoTrack) {
    storage.has(FakeStorage::Track{});
    for (const auto type : {Request::RESIZE_TRACK, Request::CLEAR_TRACK, Request::DESTROY_TRACK,
                            Request::SET_TRACK_PROPERTIES, Request::GET_TRACK_SIZE,
                            Request::GET_TRACK_PROPERTIES, Request::REMOVE_TRACK_PROPERTIES}) {
        Request request;
        request.set_type(type);
        EXPECT_EQ(refusal(request), "The request names no track");
    }
    EXPECT_EQ(storage.tracks().size(), 1U);
}

TEST_F(TrackOperationsTest, RefusesTextsThatTheServerWouldSeeCut) {
    storage.has({.size = 1, .properties = {{"a", "1"}}});
    const std::string cut("a\0b", 3);
    EXPECT_THAT(refusal(removeProperties(0, {cut})), testing::HasSubstr("holds a zero byte"));
    EXPECT_THAT(refusal(setProperties(0, {{cut, "2"}})), testing::HasSubstr("holds a zero byte"));
    EXPECT_THAT(refusal(setProperties(0, {{"c", cut}})), testing::HasSubstr("holds a zero byte"));
    EXPECT_THAT(storage.tracks().at(0).properties, ElementsAre(Pair("a", "1")));
}

TEST_F(TrackOperationsTest, LeavesNoConnectionBehind) {
    storage.has({.size = 1});
    succeed(trackSize(0));
    refusal(trackSize(1));
    ask(ticketStatus(1));
    end(create(1));
    storage.fails("tarn_storage_track_create", "no");
    end(create(1));
    EXPECT_EQ(storage.openConnections(), 0U);
}

TEST_F(TrackOperationsTest, DestroyingTheControllerWaitsForWhatStillRuns) {
    storage.holdsOperations();
    create(5);
    storage.has(FakeStorage::Track{});
    resize(0, 8);
    storage.awaitHeld(2);
    std::jthread destroying([this] { controller.reset(); });
    EXPECT_TRUE(storage.tracks().contains(0));
    storage.letsGo();
    destroying.join();
    EXPECT_EQ(storage.tracks().size(), 2U);
    EXPECT_EQ(storage.openConnections(), 0U);
}

TEST_F(TrackOperationsTest, DestroyingTheControllerLeavesWhatDoesNotEndToTheServer) {
    controller.reset();
    auto hurried = dependencies();
    hurried.patience = std::chrono::milliseconds(1);
    controller = std::make_unique<Controller>(path, hurried);
    storage.holdsOperations();
    const auto first = create(5);
    const auto second = create(6);
    storage.awaitHeld(2);
    controller.reset();
    EXPECT_EQ(storage.openConnections(), 0U);
    for (const auto ticket : {first, second}) {
        EXPECT_TRUE(tasks.find(ticket)->result.failed);
        EXPECT_EQ(tasks.find(ticket)->result.errorMessage, "The connection was interrupted");
    }
}

TEST_F(TrackOperationsTest, ListsWhoIsAttached) {
    storage.has({TARN_STORAGE_WORKER_READER, 3, "player"});
    storage.has({TARN_STORAGE_WORKER_WRITER, 4, "12345678901234567890"});
    storage.has({TARN_STORAGE_WORKER_OTHER, 5, ""});
    const auto listed = succeed(workers()).GetExtension(GetWorkersReply::base);
    ASSERT_EQ(listed.workers_size(), 3);
    EXPECT_EQ(listed.workers(0).worker_id(), 0);
    EXPECT_EQ(listed.workers(0).kind(), WORKER_READER);
    EXPECT_EQ(listed.workers(0).track_id(), 3);
    EXPECT_EQ(listed.workers(0).name(), "player");
    EXPECT_EQ(listed.workers(0).address(), "process 1234");
    EXPECT_EQ(listed.workers(1).kind(), WORKER_WRITER);
    EXPECT_EQ(listed.workers(1).name(), "12345678901234567890");
    EXPECT_EQ(listed.workers(2).kind(), WORKER_OTHER);
}

TEST_F(TrackOperationsTest, EvictsAWorker) {
    storage.has({TARN_STORAGE_WORKER_READER, 3, "player"});
    storage.has({TARN_STORAGE_WORKER_WRITER, 3, "recorder"});
    succeed(evictWorker(1));
    const auto left = succeed(workers()).GetExtension(GetWorkersReply::base);
    ASSERT_EQ(left.workers_size(), 1);
    EXPECT_EQ(left.workers(0).name(), "player");
    EXPECT_EQ(refusal(evictWorker(77)), "There is no worker 77");
    Request nobody;
    nobody.set_type(Request::EVICT_WORKER);
    EXPECT_EQ(refusal(nobody), "The request names no worker");
    EXPECT_EQ(storage.openConnections(), 0U);
}

TEST_F(TrackOperationsTest, TellsWhyWorkersAreNotListed) {
    storage.fails("tarn_storage_worker_list_create", "no list");
    EXPECT_EQ(refusal(workers()), "no list");
    storage.worksAgain("tarn_storage_worker_list_create");
    storage.fails("tarn_storage_worker_info_list_create", "no records");
    EXPECT_EQ(refusal(workers()), "no records");
}

TEST(TrackTasksTest, LetNoMoreRunThanThereMay) {
    FakeStorage storage("/run/few");
    storage.holdsOperations();
    TrackTasks tasks(2);
    const auto create = [&] {
        const auto runner = std::make_shared<CreateTrackRunner>(StorageAddress{"/run/few"}, 5);
        const auto ticket = tasks.add(runner);
        runner->start();
        return ticket;
    };
    create();
    create();
    storage.awaitHeld(2);
    const auto refused = tasks.find(create())->result;
    EXPECT_TRUE(refused.failed);
    EXPECT_EQ(refused.errorMessage, "Too many operations on tracks run already");
    storage.letsGo();
    tasks.joinAll();
    const auto served = create();
    tasks.joinAll();
    EXPECT_FALSE(tasks.find(served)->result.failed);
    EXPECT_EQ(storage.tracks().size(), 3U);
}

// A thread that nobody joins keeps its stack.
TEST_F(TrackOperationsTest, EndedOperationsKeepNoMemoryOfTheirThreads) {
    const auto mappings = [] { return test::readFile("/proc/self/maps").size(); };
    create(1);
    tasks.joinAll();
    const auto before = mappings();
    for (int i = 0; i < 300; ++i) {
        const auto ticket = create(1);
        while (statusIn(ask(ticketStatus(ticket))).status() == TICKET_RUNNING) {
            std::this_thread::yield();
        }
    }
    EXPECT_LT(mappings(), 2 * before);
}

}  // namespace tarn::service::devices
