#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "proto/deltacast_configuration.pb.h"
#include "tests/chaos/machine/Places.h"

namespace tarn::chaos {

using CaptureFormat = proto::deltacast_configuration::DeltacastConfig;

/// The ingest service that the service has on the private machine, seen through the service's
/// answers.
class Capture {
  public:
    explicit Capture(const Places& places) : places(places) {}

    /// One that works, by number, of channel 0.
    static CaptureFormat good(std::size_t number);
    static constexpr std::size_t goodFormats = 3;
    /// With which a service begins that was never told another one.
    static constexpr std::size_t first = 0;
    /// One that there is not, so that the ingest service refuses it.
    static CaptureFormat refused();

    static std::string nameOf(const CaptureFormat& format);

    /// False when it was not answered with success.
    bool order(const CaptureFormat& format) const;

    struct Running {
        std::string format;
        pid_t process = 0;  ///< as it says itself, in the tree
    };
    /// Nothing when the service says that none runs, or shows it in error, or does not answer.
    std::optional<Running> running() const;

    /// Whatever the service says of them.
    static std::vector<pid_t> processes();

  private:
    const Places& places;
};

}  // namespace tarn::chaos
