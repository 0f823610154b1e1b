#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "peers/loop_storage/operations/Storage.h"
#include "proto/storage_wire.fwd.h"

namespace tarn::peers::loop_storage {

/// A client that reads a track, one frame for each that it asked for.
///
///   Answering -> OnDisk      the frame that comes is not in memory
///   OnDisk -> Fetching       it is read on a thread that may wait for the disk
///   Fetching -> Answering    it has come, or was not to be read, or is not wanted any more
class ReaderRole {
  public:
    using Answer = tarn::proto::storage_wire::Answer;

    /// The reading of one frame that may wait for the disk. It keeps the track attached.
    class Fetch {
      public:
        /// On a thread that may wait.
        void run() { reading = attachment->track().read(sequence, bytes); }
        DiskQueue& queue() const { return attachment->track().reads(); }
        std::vector<char> bytes;

      private:
        friend class ReaderRole;
        std::shared_ptr<Attachment> attachment;
        std::uint64_t sequence = 0;
        std::uint64_t round = 0;
        Track::Reading reading;
    };

    ReaderRole(std::shared_ptr<Attachment> attachment, Track::Origin origin,
               std::int64_t timePoint);
    ~ReaderRole();
    ReaderRole(const ReaderRole&) = delete;
    ReaderRole& operator=(const ReaderRole&) = delete;

    /// One more is asked for: its bytes, or where it lies. Throws WireError for one too many.
    enum class Wanted { Bytes, Place };
    void ask(Wanted wanted);
    /// What was asked for before is not wanted any more. It is to go on with the bytes of this
    /// sequence number, and the answer to that says so.
    void goBack(std::uint64_t sequence);

    /// The next thing to tell the reader, when it has asked and there is something; the frame's
    /// bytes, if they are wanted, into `payload`. Never waits for the disk: nothing while that
    /// would have to be.
    std::optional<Answer> next(std::vector<char>& payload);

    /// Whether the next frame is to be fetched now.
    bool mustFetch() const { return state == State::OnDisk; }
    std::shared_ptr<Fetch> beginFetch(std::vector<char> memory);
    /// When it has run: what to tell the reader of it, if anything, with the fetch's bytes.
    std::optional<Answer> endFetch(const Fetch& fetch);

    /// Calls back, from any thread, when `next` may have something; once, and not at all when
    /// nothing is asked for or a call is awaited already.
    void callWhenReadable(std::function<void()> callback);
    /// To be told that it has been called.
    void called() { call = 0; }

  private:
    void callOff();

    struct Ask {
        Wanted wanted = Wanted::Bytes;
        bool isAgain = false;
    };

    Track::Reading look(Wanted wanted, std::vector<char>& payload) const;
    std::optional<Answer> take(const Track::Reading& reading);
    std::optional<Answer> answerTo(const Track::Reading& reading, const Ask& ask) const;

    const std::shared_ptr<Attachment> attachment;
    const std::optional<std::int64_t> from;
    std::uint64_t sequence;
    std::deque<Ask> asked;
    std::uint64_t round = 0;  ///< counts how often everything that was asked for became void
    enum class State { Answering, OnDisk, Fetching } state = State::Answering;
    std::uint64_t call = 0;
};

}  // namespace tarn::peers::loop_storage
