#pragma once

#include <boost/asio/steady_timer.hpp>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "peers/loop_storage/operations/Storage.h"
#include "peers/loop_storage/server/ClientIdentity.h"
#include "peers/loop_storage/server/ClientStream.h"
#include "peers/loop_storage/server/Outbox.h"
#include "peers/loop_storage/server/Presence.h"
#include "peers/loop_storage/server/ReaderRole.h"
#include "peers/loop_storage/server/RequestGate.h"
#include "peers/loop_storage/server/RequestHandler.h"
#include "peers/loop_storage/server/SessionLimits.h"
#include "peers/loop_storage/server/WorkerSharing.h"
#include "peers/loop_storage/server/WriterRole.h"
#include "platform/storage_wire/MessageParser.h"

namespace tarn::peers::loop_storage {

/// One connected client. Everything but `close` runs on the socket's own strand.
///
///   Receiving -> Answering -> Receiving ...
///       a request is answered before the next one is looked at; a writer waits for the disk
///   any -> Lingering -> Closed
///       the client was told what it did wrong, or that an operator wants it to go
///   any -> Closed
///
/// A reader's and a writer's requests are not held up by their answers; of a reader's, and of
/// answers that the client does not take, only so many are kept.
class Session : public std::enable_shared_from_this<Session>,
                private storage_wire::MessageParser::Sink {
  public:
    using Socket = ClientStream::Socket;

    /// `gate`, which outlives it, says what `client` may do. `onEnd` is called once, from whatever
    /// thread, when the client is gone.
    Session(ClientStream stream, ClientIdentity client, RequestGate& gate, Storage& storage,
            const SessionLimits& limits, std::function<void()> onEnd);
    ~Session() override;

    /// Who can make others go, so that a worker has descriptors; false when nobody can go.
    using MakeRoom = std::function<bool()>;
    void askForRoomBy(MakeRoom given) { makeRoom = std::move(given); }  ///< before `start`

    void start();
    // Any thread.
    void close();
    /// Ends what it does at its track, and tells it so.
    void evict();
    std::shared_ptr<const Presence> presence() const { return present; }

  private:
    using Next = storage_wire::MessageParser::Next;
    enum class State { Receiving, Answering, Lingering, Closed };
    static constexpr std::size_t mostPromised = 64;

    /// What a handler of this client does. What it throws ends this client and nobody else.
    template <typename Work>
    auto handler(Work work) {
        return [self = shared_from_this(), work = std::move(work)](const auto&... results) {
            try {
                work(*self, results...);
            } catch (const std::exception& failure) {
                self->breakOff(failure);
            }
        };
    }
    void breakOff(const std::exception& failure);

    void takeGreeting() override;
    Next takeMessage(std::string_view message, std::uint32_t payloadSize) override;
    Next takePayload(std::string_view piece, bool isLast) override;

    void receive();
    void received(std::size_t size);
    void giveSocketToWriter();
    void parse();
    bool readMore();
    void noteInput();
    void goOn();

    /// Whether the client's next message can be looked at.
    Next next() const { return state == State::Receiving && !isFull() ? Next::GoOn : Next::Pause; }
    Next handle(const Request& request, std::uint32_t payloadSize);
    Next write(const Request& request, std::uint32_t payloadSize);
    void reserveLater(const Request& request, std::uint32_t payloadSize, std::uint64_t size);
    void reserved(const Request& request, std::uint32_t payloadSize, const FrameInfo& place,
                  const std::exception_ptr& failure);
    Next writeBegun(const Request& request, std::uint32_t payloadSize);
    void attach(const Request& request);
    void checkPlaceForWorker() const;
    WorkerClient asWorker(const std::string& name);
    bool isLocal() const;
    void attached(const std::shared_ptr<Attachment>& attachment, const Request& request,
                  const WorkerSharing& sharing);
    void followTicket(const Request& request);
    void answerTicket(std::int64_t ticket);
    void answer(const Answer& answer);
    void answered();
    void answerFromAnywhere(const Answer& answer);

    /// Where a writer's frames are when it is answered.
    enum class Promise { Memory, Disk };
    static Promise promiseOf(const Request& request);
    void acknowledge(Promise promise);
    void flushSoon();
    void flushed(const std::exception_ptr& failure);
    /// So much waits to be answered, or to be taken, that nothing more is looked at meanwhile.
    bool isFull() const { return outbox.isFull() || promised.size() >= mostPromised; }
    void fail(const std::exception& failure);
    void refuse(const std::exception& failure);

    void send(const Answer& answer, std::vector<char> payload = {});
    bool sendWith(const WorkerSharing& sharing, Answer answer);
    void sendNext();
    void sent();
    bool canSendFrames() const;
    void readFrames();
    void readable();
    void fetchFrame();
    void fetched(ReaderRole::Fetch& fetch);

    bool isWorker() const { return reader || writer; }
    bool owesInput() const;
    bool isOverdue(std::chrono::steady_clock::time_point now) const;
    void watch();
    void checkPatience();
    void end();

    ClientStream stream;
    const std::string peer;
    const ClientIdentity client;
    RequestGate& gate;
    Storage& storage;
    const SessionLimits limits;
    std::function<void()> onEnd;
    MakeRoom makeRoom = [] { return false; };
    const std::shared_ptr<Presence> present = std::make_shared<Presence>();
    State state = State::Receiving;
    enum class Greeting { Awaited, Taken } greeting = Greeting::Awaited;
    storage_wire::MessageParser parser;
    std::vector<char> input;
    std::size_t inputBegin = 0;
    std::size_t inputEnd = 0;
    bool isReceiving = false;
    Outbox outbox;
    std::unique_ptr<ReaderRole> reader;
    std::unique_ptr<ReaderRole> leaving;  // attached until its client knows that it is no reader
    std::unique_ptr<WriterRole> writer;
    Promise promise = Promise::Memory;  ///< of the frame that is being received
    std::deque<Promise> promised;       ///< answers that wait for the disk, and those behind them
    std::size_t flushing = 0;           ///< so many of them the flush that is under way is for

    using Clock = std::chrono::steady_clock;
    boost::asio::steady_timer patience;
    bool isWatched = false;
    Clock::time_point lastInput = Clock::now();
    Clock::time_point lastOutput = Clock::now();
    boost::asio::steady_timer ticketWait;
    std::uint64_t ticketWaits = 0;
    std::int64_t awaitedTicket = 0;
};

}  // namespace tarn::peers::loop_storage
