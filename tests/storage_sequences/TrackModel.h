#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tarn::storage_sequences {

using Properties = std::map<std::string, std::string>;

/// What one track must hold.
///
///   frame: sent -> acknowledged -> durable
///
/// A server that is killed keeps what was acknowledged, a machine that loses power what is durable:
/// in both cases frames are missing from the end only, and never one without those after it. A
/// change (clearing, size, properties) that was begun and not answered is done or not done after a
/// loss, and holds from its answer on. Whatever a track was seen to have lost at a server's start
/// never comes back; what the ring had only gone over since does where the power goes before the
/// disk has what goes over it.
class TrackModel {
  public:
    enum class Loss { None, Server, Power };

    /// A frame, or what a reader was given in its place.
    struct Frame {
        std::int64_t timePoint = 0;
        std::uint64_t size = 0;
        bool isWhole = true;
    };
    struct Found {
        std::uint64_t size = 0;
        std::optional<std::int64_t> oldest = {};
        std::optional<std::int64_t> newest = {};
        Properties properties = {};
        std::optional<std::vector<Frame>> frames = {};  ///< nothing: they were not read
    };
    using Problems = std::vector<std::string>;

    TrackModel(std::int64_t id, std::uint64_t size) : id(id), ringSize(size) {}

    std::int64_t nextTimePoint() const { return lastTimePoint + 1; }
    void sent(std::uint64_t frameSize);
    /// All that was sent.
    void acknowledged();
    void durable();

    void clearing();
    void cleared();
    void resizing(std::uint64_t size);
    void resized(std::uint64_t reached);
    void changing(const Properties& wanted);
    void changed();
    /// What was begun was refused, or failed.
    void nothingChanged();

    std::uint64_t size() const { return ringSize; }
    const Properties& properties() const { return kept; }
    std::size_t frames() const { return all.size(); }

    /// From now on this much may be missing.
    void lost(Loss loss);
    /// A disk that failed: whatever is not durable may be missing, each frame by itself.
    void diskFailed() { hasHoles = true; }
    bool mayHaveHoles() const { return hasHoles; }

    /// What is wrong with what is there, one line each. From then on what was found is what is
    /// there. `atStart`: a server that has just begun has brought it to the disk.
    enum class When { Running, AtStart };
    Problems compare(const Found& found, When when);

  private:
    enum class Clearing { No, Open };

    void checkSize(const Found& found, Problems& problems) const;
    void checkProperties(const Found& found, Problems& problems) const;
    void checkEnds(const Found& found, Problems& problems) const;
    void checkFrames(const std::vector<Frame>& frames, Problems& problems) const;
    void checkUnbroken(const std::vector<Frame>& frames, Problems& problems) const;
    const Frame* find(std::int64_t timePoint) const;
    std::int64_t oldestDue() const;
    std::string name() const { return "track " + std::to_string(id) + ": "; }
    void adopt(const Found& found, When when);

    const std::int64_t id;
    std::uint64_t ringSize;
    std::optional<std::uint64_t> openSize;
    Properties kept;
    std::optional<Properties> openProperties;
    Clearing clear = Clearing::No;
    bool hasHoles = false;

    std::deque<Frame> all;           // since the last clearing, as far as they may be there
    std::int64_t lastTimePoint = 0;  // that was ever sent
    std::int64_t firstWithRoom = 1;  // none before it needs to be there
    std::int64_t safe = 0;           // acknowledged
    std::int64_t onDisk = 0;         // durable
};

}  // namespace tarn::storage_sequences
