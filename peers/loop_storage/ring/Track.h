#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "peers/loop_storage/disk/DiskErrors.h"
#include "peers/loop_storage/disk/DiskQueue.h"
#include "peers/loop_storage/ring/BootId.h"
#include "peers/loop_storage/ring/PropertyFile.h"
#include "peers/loop_storage/ring/index/FrameInfo.h"
#include "peers/loop_storage/ring/index/RingIndex.h"
#include "platform/os/FileDescriptor.h"

namespace tarn::peers::loop_storage {

struct IndexContent;
class DiskFile;
class IndexFile;
class SharedLimit;
struct TrackFiles;

/// One track: its folder's files, and what of them is known in memory. Any thread.
///
///   Idle <-> Attached (any number of readers, at most one writer)
///   Idle <-> Exclusive (is being resized or destroyed)
///
///   Sound -> Failed   its disk did not take a record, or did not sync: what the kernel holds of
///                     its files says nothing any more about what is on the disk
///   Failed -> Sound   it is cleared
///
/// Files are open while somebody is attached. A failed track is read, and neither written nor
/// resized; a file in its folder keeps it failed after a restart.
class Track {
  public:
    enum class WorkerKind { Reader, Writer };
    enum class Origin { Oldest, Live, TimePoint };

    struct Description {
        std::uint64_t size = 0;
        std::optional<std::int64_t> oldest;
        std::optional<std::int64_t> newest;
        Properties properties;
        std::string failure;              ///< empty: sound
        std::uint64_t damagedFrames = 0;  ///< that were read since the track was opened
        std::uint64_t errors = 0;  ///< how often its files have failed since the server started
    };

    /// Makes the files of a new, empty track in an empty folder; what its index tells then. Throws
    /// std::system_error; `check` may stop it by throwing.
    static IndexContent Create(const std::filesystem::path& folder, std::int64_t id,
                               std::uint64_t size, const std::function<void()>& check);

    /// Opens an existing one, mending what a crash has left, and brings what it has found to the
    /// disk: from then on that holds. Throws StorageError, std::system_error.
    Track(std::filesystem::path folder, std::int64_t id, const BootId& boot);
    /// The one that Create has just made, wherever its folder is now: nothing is read.
    Track(std::filesystem::path folder, std::int64_t id, const BootId& boot,
          const IndexContent& created);
    ~Track();
    Track(const Track&) = delete;
    Track& operator=(const Track&) = delete;

    std::int64_t id() const { return trackId; }
    const std::filesystem::path& folder() const { return trackFolder; }
    std::uint64_t size() const;
    Description describe() const;

    /// Throw StorageError, IN_USE; opening the files may also throw std::system_error. Each is
    /// ended by its counterpart.
    void attach(WorkerKind kind);
    /// What is returned closes files when it goes, which may wait for the disk.
    std::shared_ptr<const void> detach(WorkerKind kind);
    void beginExclusive(const char* purpose);
    void endExclusive();

    /// The writer's: a place for the next frame, its bytes in order, and that it is whole. Readers
    /// never see a frame before that. Throw StorageError, std::system_error.
    /// A checksum that the writer has made goes into the frame's `checksum` before the first byte.
    FrameInfo reserve(std::int64_t timePoint, std::uint64_t size);
    /// Whether reserving a place of this size waits until the disk has what was written before.
    bool mustWaitToReserve(std::uint64_t size) const;
    void write(const FrameInfo& frame, std::uint64_t offset, std::string_view bytes);
    void commit(const FrameInfo& frame);

    /// The reader's. Where it begins: the sequence number of its first frame. Of a time point whose
    /// frames are gone that is one that is gone.
    std::uint64_t begin(Origin origin, std::int64_t timePoint) const;

    enum class ReadResult {
        Frame,
        NoneYet,
        Overtaken,
        Damaged,     ///< its bytes are not those that were written
        Unreadable,  ///< the disk does not give its bytes: it is counted among the errors
        OnDisk,      ///< there, but not in memory
    };
    struct Reading {
        ReadResult result = ReadResult::NoneYet;
        FrameInfo frame;         ///< Frame, Damaged, Unreadable, OnDisk
        std::uint64_t next = 0;  ///< Frame, Damaged, Unreadable, Overtaken: where to go on
        std::optional<std::int64_t> oldest;  ///< Overtaken: nothing when the track is empty
        std::string failure{};               ///< Unreadable: why
    };
    /// What comes at this sequence number, and its bytes into `bytes`, which gets its length.
    /// Damaged: they are not those that were written. That is looked at unless they are in memory
    /// since this server has written them.
    Reading read(std::uint64_t sequence, std::vector<char>& bytes) const;
    /// The same without waiting for the disk.
    Reading readFromMemory(std::uint64_t sequence, std::vector<char>& bytes) const;
    /// Only what comes, with a checksum if who reads it has to look at it. It may be gone over at
    /// any moment.
    Reading find(std::uint64_t sequence) const;

    /// With what an attached reader on this machine reads the bytes of a frame by itself: when it
    /// has them, the limit tells whether the ring had gone over them.
    struct Shared {
        os::FileDescriptor data;
        std::shared_ptr<const SharedLimit> limit;
    };
    /// Throws std::system_error.
    Shared share();

    /// Calls back once, from whatever thread, when there may be more to read than before
    /// `sequence`; at once when there is already. A number to call it off with; whoever is being
    /// called at that moment still is.
    std::uint64_t callWhenReadable(std::uint64_t sequence, std::function<void()> callback);
    void callOff(std::uint64_t call);

    /// Also makes a failed track sound. On the disk when it returns.
    void clear();
    void setProperties(const Properties& changes);
    void removeProperties(const std::vector<std::string>& names);

    /// Keeps every frame; returns the size reached. Needs beginExclusive. `check` may stop it by
    /// throwing between two steps: the track is as before then.
    std::uint64_t resize(std::uint64_t wanted, const std::function<void()>& check);

    /// All that was committed before is on the disk afterwards, and the machine may stop. These
    /// throw StorageError for a failed track, and std::system_error when it fails by that.
    void checkpoint();
    /// The same for the frames below this sequence number, unless they are there already: who comes
    /// while a checkpoint is made shares the next one with all others who do.
    void flush(std::uint64_t sequence);
    /// One beyond the last frame that was committed.
    std::uint64_t nextSequence() const;
    /// The same, and that the track is not written any more: until the next writer. Does nothing
    /// for a failed one.
    void close();
    /// The same if the track is being written and either frames were committed since the last
    /// checkpoint or, `Urgent`, the writer will soon have to wait for the next.
    enum class Need { Committed, Urgent };
    bool needsCheckpoint(Need need) const;
    void checkpointIfNeeded(Need need);

    /// Where who may not wait for this track's disk has it waited for: what reads, and whatever
    /// waits for a sync, which must not hold up the former.
    DiskQueue& reads() const { return readQueue; }
    DiskQueue& syncs() const { return syncQueue; }

    /// Log lines of what was found when it was opened.
    const std::vector<std::string>& notes() const { return openingNotes; }

  private:
    enum class Use { Idle, Attached, Exclusive };
    /// What checkpoints say of the time until the next one.
    enum class Marking { Closed, InUse };

    void load();
    void keepFolder();
    void closeAsFound(const IndexContent& content, const DiskFile& data, const IndexFile& index,
                      const std::vector<std::uint64_t>& gone);
    void readFailure();
    void fail(const std::string& reason);
    // With the mutex. Throw StorageError.
    void checkSound() const;
    void checkWritable() const;
    void checkNotExclusive() const;
    /// What fails within is noted, and fails the track. Not with the mutex.
    template <typename Work>
    void onDisk(Work work) {
        try {
            errors.noting(work);
        } catch (const std::system_error& error) {
            fail(error.what());
            throw;
        }
    }
    bool countIn(WorkerKind kind);
    void putCommitted(const FrameInfo& frame);
    void clearRing();
    void putCleared();
    void renew();
    bool isSound() const;
    void takeRenewed(const IndexContent& content, std::shared_ptr<TrackFiles> renewed);
    void changeProperties(const std::function<void(Properties&)>& change);
    std::filesystem::path failurePath() const;
    std::filesystem::path dataPath(std::uint64_t generation) const;
    std::filesystem::path indexPath() const;
    std::shared_ptr<TrackFiles> openFiles() const;
    std::shared_ptr<TrackFiles> currentFiles() const;
    void checkpointNow();
    std::uint64_t allowance() const;
    std::uint64_t oldestSequence() const;  // with the mutex
    void wakeReaders();
    Reading overtaken(std::uint64_t sequence) const;
    Reading foundAt(std::uint64_t sequence) const;
    struct Place {
        Reading reading;
        std::shared_ptr<TrackFiles> files;
        std::uint64_t ringSize = 0;
    };
    Place placeOf(std::uint64_t sequence) const;
    Reading stillThere(const Reading& reading) const;
    Reading checked(const Reading& reading, const std::vector<char>& bytes) const;
    Reading unreadable(Reading reading, const std::system_error& failure) const;
    bool mustCheck(const FrameInfo& frame) const;  // with the mutex
    void noteFetch() const;
    void removeStrangeData() const;
    std::uint64_t sizeReached(std::uint64_t wanted) const;
    void take(const IndexContent& content);
    IndexContent resizedContent(std::uint64_t reached, bool inPlace) const;
    void prepareData(const IndexContent& content, bool inPlace,
                     const std::function<void()>& check) const;
    void undoData(const std::filesystem::path& newData, bool inPlace) const;

    const std::filesystem::path trackFolder;
    const std::int64_t trackId;
    const BootId boot;
    std::vector<std::string> openingNotes;
    mutable DiskErrors errors;
    static constexpr std::size_t readsAtOnce = 4;
    mutable DiskQueue readQueue{readsAtOnce};
    mutable DiskQueue syncQueue;

    mutable std::mutex mutex;  // guards what follows; never held while a disk is waited for
    std::uint64_t dataSize = 0;
    std::uint64_t slots = 0;
    std::uint64_t generation = 0;
    std::optional<RingIndex> ring;
    Properties properties;
    Use use = Use::Idle;
    const char* exclusivePurpose = "";
    int readers = 0;
    int writers = 0;
    std::shared_ptr<TrackFiles> files;
    std::shared_ptr<SharedLimit> sharedLimit;  ///< once a reader has asked for it
    std::uint64_t limitCount = 1;
    std::uint64_t checkpointCount = 0;
    std::uint64_t checkpointedSequence = 0;
    std::uint64_t allowedLimit = 0;
    Marking marking = Marking::Closed;        ///< of the next checkpoint
    Marking lastMarking = Marking::Closed;    ///< of the last one
    std::string failure;                      ///< empty: sound
    enum class WriterState { Good, Failed };  ///< a failed one stays so when the track is cleared
    WriterState writerState = WriterState::Good;
    std::uint32_t writtenChecksum = 0;  ///< of the bytes of the frame that is being written
    mutable std::uint64_t damagedFrames = 0;
    std::uint64_t firstOwn = 0;       ///< the first sequence number that this server has written
    mutable bool hasFetched = false;  ///< something of it had to be got from the disk
    std::map<std::uint64_t, std::function<void()>> waiting;
    std::uint64_t lastCall = 0;

    // One at a time each; taken before `mutex`, and `checkpointMutex` before `recordMutex`. Who
    // only asks takes none of them.
    std::mutex checkpointMutex;  // held by who calls checkpointNow, clearRing, renew
    std::mutex recordMutex;      // held from choosing a sequence number to using it up
    std::mutex propertiesMutex;
};

}  // namespace tarn::peers::loop_storage
