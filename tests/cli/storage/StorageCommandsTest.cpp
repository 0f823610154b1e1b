#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "tests/cli/StorageFixture.h"

namespace tarn::cli {

using namespace proto::loop_storage;
using nlohmann::json;
using testing::HasSubstr;

namespace {

void giveTicket(const Request& request, Reply& reply) {
    if (request.type() == Request::CREATE_TRACK) {
        reply.MutableExtension(CreateTrackReply::base)->set_ticket(10000001);
    } else if (request.type() == Request::RESIZE_TRACK) {
        reply.MutableExtension(ResizeTrackReply::base)->set_ticket(10000002);
    } else if (request.type() == Request::DESTROY_TRACK) {
        reply.MutableExtension(DestroyTrackReply::base)->set_ticket(10000003);
    }
}

void fail(Reply& reply, const std::string& reason) {
    reply.set_success(false);
    reply.set_error_message(reason);
}

}  // namespace

class StorageCommandsTest : public StorageFixture {
  protected:
    /// Tickets are given, and have one status after the other; the last one stays.
    void ticketsHave(std::vector<TicketStatus> statuses) {
        storageAnswers([statuses, look = std::make_shared<std::size_t>(0)](const Request& request,
                                                                           Reply& reply) {
            giveTicket(request, reply);
            if (request.type() == Request::GET_TICKET_STATUS) {
                auto& answer = *reply.MutableExtension(GetTicketStatusReply::base);
                answer.set_status(statuses.at(std::min(*look, statuses.size() - 1)));
                ++*look;
                if (answer.status() == TICKET_FINISHED) {
                    answer.set_track_id(7);
                }
            }
        });
    }
};

TEST_F(StorageCommandsTest, CreatesATrackAndGivesItsTicket) {
    storageAnswers(giveTicket);
    const auto run = tarnctl({"storage", "create", "--size", "10G"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_EQ(run.out, "ticket 10000001\n");
    EXPECT_EQ(lastOperation().GetExtension(CreateTrackRequest::base).size(), 10737418240U);
    EXPECT_EQ(json::parse(tarnctl({"storage", "create", "--size", "1", "--json"}).out),
              json::parse(R"({"ticket": "10000001"})"));
}

TEST_F(StorageCommandsTest, ResizesATrack) {
    storageAnswers(giveTicket);
    EXPECT_EQ(tarnctl({"storage", "resize", "3", "--size", "2KB"}).out, "ticket 10000002\n");
    const auto operation = lastOperation();
    const auto& content = operation.GetExtension(ResizeTrackRequest::base);
    EXPECT_EQ(content.track_id(), 3);
    EXPECT_EQ(content.size(), 2000U);
}

TEST_F(StorageCommandsTest, DestroysATrack) {
    storageAnswers(giveTicket);
    EXPECT_EQ(tarnctl({"storage", "destroy", "0"}).out, "ticket 10000003\n");
    const auto operation = lastOperation();
    const auto& content = operation.GetExtension(DestroyTrackRequest::base);
    EXPECT_TRUE(content.has_track_id());
    EXPECT_EQ(content.track_id(), 0);
}

TEST_F(StorageCommandsTest, WaitsForTheEndOfAnOperation) {
    ticketsHave({TICKET_QUEUED, TICKET_RUNNING, TICKET_FINISHED});
    const auto run = tarnctl({"storage", "create", "--size", "1", "--wait"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_EQ(run.out, "ticket 10000001 finished: track 7\n");
    EXPECT_EQ(lastOperation().GetExtension(GetTicketStatusRequest::base).ticket(), 10000001);
    EXPECT_EQ(service.requests().size(), 4U);
}

TEST_F(StorageCommandsTest, GivesTheEndAsJson) {
    ticketsHave({TICKET_FINISHED});
    EXPECT_EQ(json::parse(tarnctl({"storage", "create", "--size", "1", "--wait", "--json"}).out),
              json::parse(R"({"ticket": "10000001", "status": "TICKET_FINISHED",
                              "track_id": "7"})"));
}

TEST_F(StorageCommandsTest, AnOperationThatFailedIsAFailure) {
    storageAnswers([](const Request& request, Reply& reply) {
        giveTicket(request, reply);
        if (request.type() == Request::GET_TICKET_STATUS) {
            fail(reply, "The disk is full");
        }
    });
    const auto run = tarnctl({"storage", "create", "--size", "1", "--wait"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_EQ(run.err, "tarnctl: The disk is full\n");
    EXPECT_EQ(run.out, "");
}

TEST_F(StorageCommandsTest, ShowsATicketAsItIs) {
    ticketsHave({TICKET_RUNNING});
    const auto run = tarnctl({"storage", "ticket", "10000009"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_EQ(run.out, "ticket 10000009 running\n");
    EXPECT_EQ(json::parse(tarnctl({"storage", "ticket", "1", "--json"}).out),
              json::parse(R"({"ticket": "1", "status": "TICKET_RUNNING"})"));
}

TEST_F(StorageCommandsTest, TheServersOwnTicketsMayHaveFailed) {
    ticketsHave({TICKET_FAILED, TICKET_CANCELLED});
    const auto failed = tarnctl({"storage", "ticket", "5"});
    EXPECT_EQ(failed.status, ExitStatus::Failed);
    EXPECT_EQ(failed.out, "ticket 5 failed\n");
    EXPECT_EQ(tarnctl({"storage", "ticket", "5", "--wait"}).out, "ticket 5 cancelled\n");
}

TEST_F(StorageCommandsTest, CtrlCEndsTheWaitingAndNotTheOperation) {
    storageAnswers([](const Request&, Reply& reply) {
        reply.MutableExtension(GetTicketStatusReply::base)->set_status(TICKET_RUNNING);
        ::kill(::getpid(), SIGINT);
    });
    const auto run = tarnctl({"storage", "ticket", "5", "--wait"});
    EXPECT_EQ(run.status, ExitStatus::Interrupted);
    EXPECT_EQ(run.err, "tarnctl: ticket 5: the operation goes on\n");
}

TEST_F(StorageCommandsTest, ClearsATrack) {
    storageAnswers([](const Request&, Reply&) {});
    EXPECT_EQ(tarnctl({"storage", "clear", "3"}).out, "track 3 cleared\n");
    EXPECT_EQ(lastOperation().type(), Request::CLEAR_TRACK);
    EXPECT_EQ(lastOperation().GetExtension(ClearTrackRequest::base).track_id(), 3);
    EXPECT_EQ(json::parse(tarnctl({"storage", "clear", "3", "--json"}).out)["track_id"], "3");
}

TEST_F(StorageCommandsTest, ShowsTheRemainingSpace) {
    storageAnswers([](const Request&, Reply& reply) {
        reply.MutableExtension(GetRemainingSpaceReply::base)->set_remaining_space(1610612736);
    });
    EXPECT_EQ(tarnctl({"storage", "space"}).out, "1.5 GiB left\n");
    EXPECT_EQ(json::parse(tarnctl({"storage", "space", "--json"}).out),
              json::parse(R"({"remaining_space": "1610612736"})"));
}

TEST_F(StorageCommandsTest, ShowsProperties) {
    storageAnswers([](const Request& request, Reply& reply) {
        auto& answer = *reply.MutableExtension(GetTrackPropertiesReply::base);
        if (request.GetExtension(GetTrackPropertiesRequest::base).track_id() == 3) {
            auto& property = *answer.add_properties();
            property.set_name("Name");
            property.set_value("studio");
        }
    });
    EXPECT_EQ(tarnctl({"storage", "properties", "3"}).out, "NAME  VALUE\nName  studio\n");
    EXPECT_EQ(tarnctl({"storage", "properties", "4"}).out, "no properties\n");
    EXPECT_EQ(json::parse(tarnctl({"storage", "properties", "3", "--json"}).out),
              json::parse(R"({"track_id": "3", "properties": {"Name": "studio"}})"));
}

TEST_F(StorageCommandsTest, SetsPropertiesAndShowsThem) {
    storageAnswers([](const Request&, Reply&) {});
    EXPECT_EQ(
        tarnctl({"storage", "properties", "3", "set", "Name=studio", "Url=a=b", "Empty="}).out,
        "no properties\n");
    const auto requests = service.requests();
    ASSERT_EQ(requests.size(), 2U);
    const auto operation =
        requests[0]
            .GetExtension(proto::api_service::ApiToServiceRequestLoopStorage::base)
            .request();
    EXPECT_EQ(operation.type(), Request::SET_TRACK_PROPERTIES);
    const auto& content = operation.GetExtension(SetTrackPropertiesRequest::base);
    EXPECT_EQ(content.track_id(), 3);
    ASSERT_EQ(content.properties_size(), 3);
    EXPECT_EQ(content.properties(1).name(), "Url");
    EXPECT_EQ(content.properties(1).value(), "a=b");
    EXPECT_EQ(content.properties(2).value(), "");
    EXPECT_EQ(lastOperation().type(), Request::GET_TRACK_PROPERTIES);
}

TEST_F(StorageCommandsTest, RemovesProperties) {
    storageAnswers([](const Request&, Reply&) {});
    tarnctl({"storage", "properties", "3", "remove", "Name", "Camera"});
    const auto operation =
        service.requests()[0]
            .GetExtension(proto::api_service::ApiToServiceRequestLoopStorage::base)
            .request();
    EXPECT_EQ(operation.type(), Request::REMOVE_TRACK_PROPERTIES);
    EXPECT_THAT(operation.GetExtension(RemoveTrackPropertiesRequest::base).names(),
                testing::ElementsAre("Name", "Camera"));
}

TEST_F(StorageCommandsTest, SaysWhyTheStorageDidNotDoIt) {
    storageAnswers([](const Request&, Reply& reply) {
        reply.set_type(Reply::ERROR);
        fail(reply, "Storage device controller not found");
    });
    for (const std::vector<std::string>& line :
         std::vector<std::vector<std::string>>{{"storage", "create", "--size", "1"},
                                               {"storage", "resize", "1", "--size", "1"},
                                               {"storage", "destroy", "1"},
                                               {"storage", "clear", "1"},
                                               {"storage", "space"},
                                               {"storage", "properties", "1"},
                                               {"storage", "properties", "1", "set", "a=b"},
                                               {"storage", "properties", "1", "remove", "a"},
                                               {"storage", "ticket", "1"}}) {
        const auto run = tarnctl(line);
        EXPECT_EQ(run.status, ExitStatus::Failed);
        EXPECT_EQ(run.err, "tarnctl: Storage device controller not found\n");
        EXPECT_EQ(run.out, "");
    }
}

TEST_F(StorageCommandsTest, NoticesAnAnswerToSomethingElse) {
    storageAnswers([](const Request&, Reply& reply) { reply.set_type(Reply::CLEAR_TRACK); });
    const auto run = tarnctl({"storage", "space"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_THAT(run.err, HasSubstr("type 5 instead of 9"));
}

TEST_F(StorageCommandsTest, ListsWorkers) {
    storageAnswers([](const Request& request, Reply& reply) {
        EXPECT_EQ(request.type(), Request::GET_WORKERS);
        auto& content = *reply.MutableExtension(GetWorkersReply::base);
        for (const auto kind : {WORKER_WRITER, WORKER_READER}) {
            auto& worker = *content.add_workers();
            worker.set_worker_id(kind + 10);
            worker.set_kind(kind);
            worker.set_track_id(3);
            worker.set_name("camera\x1b[2J");
            worker.set_address("192.168.1.5:40312");
        }
    });
    const auto run = tarnctl({"storage", "workers"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_THAT(run.out, HasSubstr("ID  TRACK  KIND    NAME"));
    EXPECT_THAT(run.out, HasSubstr("12  3      writer"));
    EXPECT_THAT(run.out, HasSubstr("192.168.1.5:40312"));
    EXPECT_EQ(run.out.find('\x1b'), std::string::npos);
    const auto document = json::parse(tarnctl({"storage", "workers", "--json"}).out);
    EXPECT_EQ(document["workers"][1]["worker_id"], "11");
    EXPECT_EQ(document["workers"][1]["kind"], "reader");
    EXPECT_EQ(document["workers"][1]["track_id"], "3");
}

TEST_F(StorageCommandsTest, SaysThatThereAreNoWorkers) {
    storageAnswers([](const Request&, Reply&) {});
    EXPECT_EQ(tarnctl({"storage", "workers"}).out, "no workers\n");
}

TEST_F(StorageCommandsTest, EvictsAWorker) {
    storageAnswers([](const Request& request, Reply& reply) {
        if (request.GetExtension(EvictWorkerRequest::base).worker_id() == 13) {
            fail(reply, "There is no worker 13");
        }
    });
    EXPECT_EQ(tarnctl({"storage", "workers", "evict", "12"}).out, "worker 12 evicted\n");
    const auto operation = lastOperation();
    EXPECT_EQ(operation.type(), Request::EVICT_WORKER);
    EXPECT_EQ(operation.GetExtension(EvictWorkerRequest::base).worker_id(), 12);
    EXPECT_EQ(json::parse(tarnctl({"storage", "workers", "evict", "12", "--json"}).out),
              json::parse(R"({"worker_id": "12", "state": "evicted"})"));
    const auto refused = tarnctl({"storage", "workers", "evict", "13"});
    EXPECT_EQ(refused.status, ExitStatus::Failed);
    EXPECT_THAT(refused.err, HasSubstr("There is no worker 13"));
}

TEST_F(StorageCommandsTest, RefusesLinesThatMakeNoSense) {
    for (const std::vector<std::string>& line :
         std::vector<std::vector<std::string>>{{"storage"},
                                               {"storage", "create"},
                                               {"storage", "create", "--size", "10X"},
                                               {"storage", "create", "--size", "-1"},
                                               {"storage", "resize", "--size", "1"},
                                               {"storage", "resize", "1"},
                                               {"storage", "show", "abc"},
                                               {"storage", "show", "-1"},
                                               {"storage", "clear"},
                                               {"storage", "ticket"},
                                               {"storage", "ticket", "99999999999999999999"},
                                               {"storage", "workers", "evict"},
                                               {"storage", "workers", "evict", "camera"},
                                               {"storage", "workers", "12"},
                                               {"storage", "properties"},
                                               {"storage", "properties", "1", "set"},
                                               {"storage", "properties", "1", "set", "a"},
                                               {"storage", "properties", "1", "set", "=b"},
                                               {"storage", "properties", "1", "remove"}}) {
        EXPECT_EQ(tarnctl(line).status, ExitStatus::Usage) << testing::PrintToString(line);
    }
    EXPECT_TRUE(service.requests().empty());
}

}  // namespace tarn::cli
