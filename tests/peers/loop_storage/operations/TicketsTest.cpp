#include "peers/loop_storage/operations/Tickets.h"

#include <gtest/gtest.h>

#include "peers/loop_storage/StorageError.h"

namespace tarn::peers::loop_storage {
namespace {

TEST(TicketsTest, CountFromOne) {
    Tickets tickets(10);
    EXPECT_EQ(tickets.add(), 1);
    EXPECT_EQ(tickets.add(), 2);
}

TEST(TicketsTest, GoThroughTheirStates) {
    Tickets tickets(10);
    const auto ticket = tickets.add();
    EXPECT_EQ(tickets.get(ticket).state, TARN_STORAGE_TICKET_QUEUED);
    tickets.setRunning(ticket);
    EXPECT_EQ(tickets.get(ticket).state, TARN_STORAGE_TICKET_RUNNING);
    tickets.finish(ticket, 7);
    EXPECT_EQ(tickets.get(ticket).state, TARN_STORAGE_TICKET_FINISHED);
    EXPECT_EQ(tickets.get(ticket).value, 7);
}

TEST(TicketsTest, AFailureKeepsItsKindAndMessage) {
    Tickets tickets(10);
    const auto ticket = tickets.add();
    tickets.fail(ticket, StorageError(TARN_STORAGE_ERROR_NO_SPACE, "full"));
    EXPECT_EQ(tickets.get(ticket).state, TARN_STORAGE_TICKET_FAILED);
    EXPECT_EQ(tickets.get(ticket).error, TARN_STORAGE_ERROR_NO_SPACE);
    EXPECT_EQ(tickets.get(ticket).message, "full");
}

TEST(TicketsTest, OnlyTheLastOnesThatAreOverAreRemembered) {
    Tickets tickets(2);
    const auto running = tickets.add();
    tickets.setRunning(running);
    for (int i = 0; i < 3; ++i) {
        tickets.finish(tickets.add(), i);
    }
    EXPECT_EQ(tickets.get(running).state, TARN_STORAGE_TICKET_RUNNING);
    EXPECT_THROW(tickets.get(2), StorageError);
    EXPECT_EQ(tickets.get(3).value, 1);
}

TEST(TicketsTest, WhoWaitsIsCalledAtTheEndAndAtOnceAfterIt) {
    Tickets tickets(10);
    const auto ticket = tickets.add();
    int calls = 0;
    tickets.callAtEnd(ticket, &calls, [&] { ++calls; });
    EXPECT_EQ(calls, 0);
    tickets.cancel(ticket);
    EXPECT_EQ(calls, 1);
    tickets.callAtEnd(ticket, &calls, [&] { ++calls; });
    EXPECT_EQ(calls, 2);
}

TEST(TicketsTest, WhoAsksAgainAndAgainWaitsOnce) {
    Tickets tickets(10);
    const auto ticket = tickets.add();
    int calls = 0;
    for (int i = 0; i < 3; ++i) {
        tickets.callAtEnd(ticket, &calls, [&] { ++calls; });
    }
    tickets.finish(ticket, 0);
    EXPECT_EQ(calls, 1);
}

TEST(TicketsTest, WhoHasCalledOffIsNotCalled) {
    Tickets tickets(10);
    const auto ticket = tickets.add();
    int calls = 0;
    tickets.callAtEnd(ticket, &calls, [&] { ++calls; });
    tickets.callOff(ticket, &calls);
    tickets.callOff(77, &calls);
    tickets.finish(ticket, 0);
    EXPECT_EQ(calls, 0);
}

}  // namespace
}  // namespace tarn::peers::loop_storage
