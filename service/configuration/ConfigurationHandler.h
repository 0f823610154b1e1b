#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/utils/MessageFormatter.h"
#include "service/configuration/ConfigurationSettings.h"

namespace tarn::service::configuration {

/// The whole configuration of the service: read from a file or set to the built-in defaults once,
/// by one thread, before any other uses it; then only read, by any thread, without locking.
class ConfigurationHandler : public utils::MessageFormatter {
  public:
    /// Loads a plug-in library by its path; 0 on success. May throw.
    using PluginLoader = std::function<int(const char*)>;

    explicit ConfigurationHandler(PluginLoader loadPlugin);

    /// Reads the file and loads its plug-ins. On failure false, with the formatted reason in
    /// `error` (cleared first); no plug-in is loaded, and the settings read before the failure
    /// stay: call setDefault. Throws std::invalid_argument or std::out_of_range for a port range,
    /// line count or frame rate that is not a number; the text says which.
    ///
    /// The LAST byte of the file is not read; it is meant to be a line break.
    /// Begins with reset(), so a second call adds its Deltacast services to those of the first.
    bool readConfigurationFile(const std::string& path, std::string& error);

    /// The built-in settings with the default plug-ins, which are loaded.
    void setDefault();

    /// See ConfigurationSettings::reset.
    void reset();

    /// Loads every plug-in in order. Failures are logged and stop nothing.
    void loadPlugins() const;

    /// The setting of the plug-in search variable for a job, as shell text:
    /// "KLN_PLUGINS=${KLN_PLUGINS}:/a.so:/b.so:". The paths are not quoted.
    std::string getPluginsEnvironmentVariable() const;

    /// Makes sure that the persistent jobs folder exists, unless none is set. On failure false,
    /// with the formatted reason in `error`, which is cleared first.
    bool checkCreateFolders(std::string& error) const;

    /// Writes the configuration report to the log.
    void printConfiguration() const;

    /// The ports of an interface, matched exactly: the configured pair and true, or both 0 and
    /// false. `from` may be above `to`.
    bool getTcpPortRange(const std::string& interface, std::uint16_t& from,
                         std::uint16_t& to) const;

    const std::string& getRequestsEndpoint() const { return settings.requestsEndpoint; }
    const std::string& getEventsEndpoint() const { return settings.eventsEndpoint; }
    const std::string& getResourcesEndpoint() const { return settings.resourcesEndpoint; }
    const std::string& getWorkflowLauncher() const { return settings.workflowLauncher; }
    const std::string& getEngineLauncher() const { return settings.engineLauncher; }
    const std::string& getPersistentJobsFolder() const { return settings.persistentJobsFolder; }
    /// Empty when none is configured.
    const std::string& getPersistentDeltacastConfigurationFile() const {
        return settings.persistentDeltacastConfigurationFile;
    }
    const JobCellSettings& getJobCell() const { return settings.jobCell; }
    const socket::Limits& getLimits() const { return settings.limits; }
    const SecuritySettings& getSecurity() const { return settings.security; }
    const std::vector<std::string>& getPlugins() const { return settings.plugins; }
    const std::vector<TarnDevice>& getDevices() const { return settings.devices; }
    const std::vector<std::shared_ptr<DeltacastServiceConfigurationHandler>>& getDeltacastServices()
        const {
        return settings.deltacastServices;
    }
    const std::vector<std::shared_ptr<LoopStorageConfigurationHandler>>& getLoopStorages() const {
        return settings.loopStorages;
    }

  private:
    void readSettings(const std::string& path);
    void loadPlugin(const std::string& path) const;

    ConfigurationSettings settings;
    const PluginLoader pluginLoader;
};

/// The configuration of this process; created on first use, destroyed at exit. Its plug-ins are
/// loaded into the media framework.
ConfigurationHandler& GetConfigurationHandler();

}  // namespace tarn::service::configuration
