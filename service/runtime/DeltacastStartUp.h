#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace tarn::service::devices {
enum class DeltacastStatus : std::uint32_t;
}

namespace tarn::service {

/// Gives the ingest service time to be there before jobs need it, and has it started when nobody
/// answers: with the capture format of the persistent file, else with the default one. Main thread;
/// gives up at once when a stop is requested.
class DeltacastStartUp {
  public:
    /// The controller of the ingest service, and the time.
    struct Dependencies {
        std::function<devices::DeltacastStatus()> status;
        std::function<bool(std::uint32_t seconds)> waitForDeviceStarted;
        std::function<bool(const std::string& path)> applyConfigurationFile;
        std::function<bool()> applyDefaultConfiguration;
        std::function<bool(std::chrono::milliseconds)> pause;  ///< true when a stop is requested
    };

    /// An empty path stands for no persistent file.
    DeltacastStartUp(Dependencies dependencies, std::string persistentFile);

    void run() const;

  private:
    void waitForStart(std::uint32_t seconds) const;
    bool applyConfiguration() const;

    const Dependencies dependencies;
    const std::string persistentFile;
};

}  // namespace tarn::service
