#include "service/configuration/ConfigurationHandler.h"

#include <exception>
#include <utility>

#include "platform/utils/Log.h"
#include "service/configuration/ConfigurationError.h"
#include "service/configuration/ConfigurationFileReader.h"
#include "service/configuration/check/CheckCreateFolder.h"
#include "service/configuration/check/ConfigurationReport.h"
#include "service/configuration/xml/XmlDocument.h"

namespace tarn::service::configuration {

ConfigurationHandler::ConfigurationHandler(PluginLoader loadPlugin)
    : MessageFormatter("ConfigurationHandler"), pluginLoader(std::move(loadPlugin)) {
    reset();
}

bool ConfigurationHandler::readConfigurationFile(const std::string& path, std::string& error) {
    utils::logInfo(formatMessage("Reading configuration file " + path));
    reset();
    error.clear();
    try {
        readSettings(path);
    } catch (const ConfigurationError& failure) {
        error = failure.what();
        return false;
    }
    loadPlugins();
    return true;
}

// The file's content and its document are gone when this returns, before foreign code is loaded.
void ConfigurationHandler::readSettings(const std::string& path) {
    ConfigurationFileReader reader(settings, *this);
    reader.read(*reader.load(path), path);
}

void ConfigurationHandler::setDefault() {
    reset();
    settings.plugins.insert(settings.plugins.end(), defaultPlugins().begin(),
                            defaultPlugins().end());
    loadPlugins();
}

void ConfigurationHandler::reset() {
    settings.reset();
}

void ConfigurationHandler::loadPlugins() const {
    for (const auto& plugin : settings.plugins) {
        loadPlugin(plugin);
    }
}

// Whatever a plug-in throws, the service starts.
void ConfigurationHandler::loadPlugin(const std::string& path) const {
    try {
        if (pluginLoader(path.c_str()) != 0) {
            utils::logFatal(formatMessage("Error while loading plugin: " + path));
        }
    } catch (const std::exception& failure) {
        utils::logWarning(formatMessage(std::string("Warning loading plugins: ") + failure.what()));
    } catch (...) {
        utils::logWarning(formatMessage("Warning loading plugins: unknown exception"));
    }
}

std::string ConfigurationHandler::getPluginsEnvironmentVariable() const {
    std::string text = "KLN_PLUGINS=${KLN_PLUGINS}:";
    for (const auto& plugin : settings.plugins) {
        text += plugin + ":";
    }
    return text;
}

bool ConfigurationHandler::checkCreateFolders(std::string& error) const {
    error.clear();
    if (settings.persistentJobsFolder.empty() ||
        checkCreateFolder(settings.persistentJobsFolder, error)) {
        return true;
    }
    error = formatMessage(error);
    return false;
}

void ConfigurationHandler::printConfiguration() const {
    for (const auto& line : configurationReport(settings)) {
        utils::logInfo(line);
    }
}

bool ConfigurationHandler::getTcpPortRange(const std::string& interface, std::uint16_t& from,
                                           std::uint16_t& to) const {
    const auto range = settings.tcpPortRanges.find(interface);
    const bool found = range != settings.tcpPortRanges.end();
    from = found ? range->second.first : std::uint16_t{0};
    to = found ? range->second.second : std::uint16_t{0};
    return found;
}

}  // namespace tarn::service::configuration
