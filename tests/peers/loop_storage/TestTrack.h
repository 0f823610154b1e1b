#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "peers/loop_storage/IndexFile.h"
#include "peers/loop_storage/Track.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::test {

/// A track in a folder of its own, that can be closed, or lost, and opened again.
class TestTrack {
  public:
    using Track = tarn::peers::loop_storage::Track;
    using BootId = tarn::peers::loop_storage::BootId;

    explicit TestTrack(std::uint64_t size) {
        Track::Create(folder.path(), 7, size, [] {});
        open();
    }

    void open() { track = std::make_unique<Track>(folder.path(), 7, boot); }
    /// As after kill -9: what was written is in the files, and nobody closed them.
    void reopenAfterKill() {
        track.reset();
        open();
    }
    /// The machine went down in between.
    void reopenAfterPowerCut() {
        boot.back() = static_cast<char>(boot.back() + 1);
        reopenAfterKill();
    }

    void beWriter() {
        track->attach(Track::WorkerKind::Writer);
        track->checkpoint();
    }
    void put(std::int64_t timePoint, const std::string& bytes) {
        const auto frame = track->reserve(timePoint, bytes.size());
        track->write(frame, 0, bytes);
        track->commit(frame);
    }

    /// What a reader gets from the oldest frame on: "timePoint:bytes".
    std::vector<std::string> frames() {
        std::vector<std::string> list;
        track->attach(Track::WorkerKind::Reader);
        auto sequence = track->begin(Track::Origin::Oldest, 0);
        std::vector<char> bytes;
        for (;;) {
            const auto reading = track->read(sequence, bytes);
            if (reading.result == Track::ReadResult::NoneYet) {
                break;
            }
            if (reading.result == Track::ReadResult::Frame) {
                list.push_back(std::to_string(reading.frame.timePoint) + ":" +
                               std::string(bytes.begin(), bytes.end()));
            }
            sequence = reading.next;
        }
        track->detach(Track::WorkerKind::Reader);
        return list;
    }

    std::filesystem::path file(const std::string& name) const { return folder.path() / name; }
    Track* operator->() { return track.get(); }

  private:
    const TemporaryFolder folder;
    BootId boot{'b', 'o', 'o', 't'};
    std::unique_ptr<Track> track;
};

}  // namespace tarn::test
