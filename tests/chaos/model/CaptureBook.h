#pragma once

#include <set>
#include <string>

namespace tarn::chaos {

/// Which capture formats may be in force, by what was ordered and seen.
///
/// - What was seen running is what runs, until something is ordered: whatever is killed meanwhile,
///   the ingest service or the service itself, it comes back in that format.
/// - An order that is followed to its end leaves the format that it names, or, if the ingest
///   service refuses that, the one that ran before.
/// - An order during which the service was killed leaves either: the answer says that the order was
///   taken, not that it was kept.
class CaptureBook {
  public:
    /// As the service names it.
    using Format = std::string;

    /// What a service begins with.
    explicit CaptureBook(const Format& first) : possible{first} {}

    /// The ingest service can capture it, and nobody saw yet what became of it.
    void ordered(const Format& format) { possible.insert(format); }

    /// It runs; what is wrong with that, empty when nothing is.
    std::string sawRunning(const Format& format);

  private:
    std::set<Format> possible;
};

}  // namespace tarn::chaos
