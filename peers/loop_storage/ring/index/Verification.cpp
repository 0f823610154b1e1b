#include "peers/loop_storage/ring/index/Verification.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "peers/loop_storage/ring/TrackFiles.h"
#include "peers/loop_storage/ring/index/FrameCheck.h"
#include "peers/loop_storage/ring/index/Recovery.h"
#include "peers/loop_storage/ring/index/RingIndex.h"
#include "platform/os/FileDescriptor.h"

namespace tarn::peers::loop_storage {

namespace {

struct FrameCounts {
    std::uint64_t whole = 0;
    std::uint64_t bad = 0;
    std::uint64_t unchecked = 0;
};

const char* textFor(FrameCheck result) {
    return result == FrameCheck::Damaged ? " is damaged" : " cannot be read";
}

// No server may change the files meanwhile. A directory that is read only has no lock to take.
os::FileDescriptor keepServersAway(const std::filesystem::path& directory) {
    os::FileDescriptor lock(::open((directory / "lock").c_str(), O_RDONLY | O_CLOEXEC));
    if (lock.isOpen() && ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        throw std::runtime_error("A server uses directory " + directory.string());
    }
    return lock;
}

/// The frames that a server would find.
// Through the ring: records of frames that have been gone over are still in the index.
RingIndex framesOf(IndexContent& content, const DiskFile& data) {
    settleDoubts(content, data);
    RingIndex ring(content.track.dataSize, content.track.slots);
    ring.restore(content.frames, content.nextSequence, content.limit, content.lost);
    return ring;
}

FrameCounts verifyFrames(const std::filesystem::path& folder, const BootId& boot,
                         std::ostream& out) {
    auto content = IndexFile(folder / "index", DiskFile::Mode::ReadOnly).load(boot);
    const DiskFile data(folder / (dataPrefix + std::to_string(content.track.generation)),
                        DiskFile::Mode::ReadOnly);
    const auto ring = framesOf(content, data);
    FrameCounts counts;
    for (const auto& frame : ring.all()) {
        const auto result = checkFrame(frame, data, content.track.dataSize);
        counts.whole += result == FrameCheck::Whole ? 1 : 0;
        counts.unchecked += result == FrameCheck::WithoutChecksum ? 1 : 0;
        if (result == FrameCheck::Damaged || result == FrameCheck::Unreadable) {
            ++counts.bad;
            out << folder.filename().string() << ": the frame of time point " << frame.timePoint
                << textFor(result) << "\n";
        }
    }
    return counts;
}

bool verifyTrack(const std::filesystem::path& folder, const BootId& boot, std::ostream& out) {
    const auto name = folder.filename().string();
    try {
        const auto counts = verifyFrames(folder, boot, out);
        out << name << ": " << counts.whole << " frames are whole, " << counts.bad << " are not, "
            << counts.unchecked << " have no checksum\n";
        return counts.bad == 0;
    } catch (const std::exception& failure) {
        out << name << ": " << failure.what() << "\n";
        return false;
    }
}

bool isTrack(const std::filesystem::path& folder) {
    return folder.filename().string().starts_with("track-");
}

std::vector<std::filesystem::path> tracksIn(const std::filesystem::path& directory) {
    std::vector<std::filesystem::path> tracks;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (isTrack(entry.path())) {
            tracks.push_back(entry.path());
        }
    }
    std::sort(tracks.begin(), tracks.end());
    return tracks;
}

}  // namespace

bool verify(const std::filesystem::path& folder, const BootId& boot, std::ostream& out) {
    const auto place = std::filesystem::canonical(folder);
    const auto directory = isTrack(place) ? place.parent_path() : place;
    const auto lock = keepServersAway(directory);
    const auto tracks = isTrack(place) ? std::vector{place} : tracksIn(place);
    if (tracks.empty()) {
        throw std::runtime_error("There is no track in " + place.string());
    }
    bool isWell = true;
    for (const auto& track : tracks) {
        isWell = verifyTrack(track, boot, out) && isWell;
    }
    return isWell;
}

}  // namespace tarn::peers::loop_storage
