#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "peers/loop_storage/ring/Track.h"
#include "peers/loop_storage/ring/index/IndexFile.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::test {

/// A track in a folder of its own, that can be closed, or lost, and opened again.
class TestTrack {
  public:
    using Track = tarn::peers::loop_storage::Track;
    using BootId = tarn::peers::loop_storage::BootId;

    explicit TestTrack(std::uint64_t size, Medium medium = Medium::Disk) : folder(medium) {
        std::filesystem::create_directory(place());
        Track::Create(place(), 7, size, [] {});
        open();
    }

    void open() { track = std::make_unique<Track>(place(), 7, boot); }
    /// As after kill -9: what was written is in the files, and nobody closed them.
    void reopenAfterKill() {
        track.reset();
        open();
    }
    /// The machine went down in between, and all that was written had reached the disk.
    void reopenAfterPowerCut() {
        boot.back() = static_cast<char>(boot.back() + 1);
        reopenAfterKill();
    }
    /// All that is in a file now is on the disk, and what comes may not get there.
    void keep(const std::string& name) { kept[name] = readFile(file(name)); }
    /// Of these files nothing that came after `keep` had reached it.
    void reopenAfterPowerCutWithout(const std::vector<std::string>& names) {
        for (const auto& name : names) {
            write(name, kept.at(name));
        }
        reopenAfterPowerCut();
    }
    void flipByte(const std::string& name, std::size_t offset) const {
        auto content = readFile(file(name));
        content[offset] = static_cast<char>(content[offset] ^ 0x5a);
        write(name, content);
    }
    const BootId& bootId() const { return boot; }

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
            if (reading.result == Track::ReadResult::Damaged) {
                list.push_back(std::to_string(reading.frame.timePoint) + " damaged");
            }
            sequence = reading.next;
        }
        track->detach(Track::WorkerKind::Reader);
        return list;
    }

    std::filesystem::path file(const std::string& name) const { return place() / name; }
    void write(const std::string& name, const std::string& content) const {
        folder.write("track-7/" + name, content);
    }
    Track* operator->() { return track.get(); }

  private:
    std::filesystem::path place() const { return folder.path() / "track-7"; }

    const TemporaryFolder folder;
    BootId boot{'b', 'o', 'o', 't'};
    std::map<std::string, std::string> kept;
    std::unique_ptr<Track> track;
};

}  // namespace tarn::test
