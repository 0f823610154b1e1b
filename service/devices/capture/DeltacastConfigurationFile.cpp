#include "service/devices/capture/DeltacastConfigurationFile.h"

#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/os/ClosedFile.h"
#include "platform/os/FileReplacement.h"
#include "platform/os/TrustedFile.h"
#include "platform/utils/Log.h"
#include "platform/utils/MessageFormatter.h"
#include "proto/deltacast_configuration.pb.h"

namespace tarn::service::devices {

namespace {

constexpr std::size_t largestFormat = 1U << 20U;

}  // namespace

DeltacastConfigurationFile::DeltacastConfigurationFile(std::string path,
                                                       const utils::IMessageFormatter& formatter)
    : path(std::move(path)), formatter(formatter) {}

bool DeltacastConfigurationFile::save(const DeltacastConfig& configuration) const {
    if (path.empty()) {
        return fail("Cannot save configuration: no path specified.");
    }
    utils::logInfo(formatter.formatMessage("Writing configuration to " + path));
    utils::logDebug(
        formatter.formatMessage("Configuration to save: " + configuration.DebugString()));
    try {
        if (!configuration.IsInitialized()) {  // it could not be restored
            throw std::invalid_argument("the configuration is not complete");
        }
        return write(configuration.SerializeAsString());
    } catch (const std::exception& e) {
        return fail(std::string("Failed writing persistent deltacast configuration file: ") +
                    e.what());
    }
}

bool DeltacastConfigurationFile::write(const std::string& content) const {
    std::optional<os::FileReplacement> file;
    try {
        file.emplace(path);
    } catch (const std::system_error&) {
        return fail("Failed creating deltacast configuration job file");
    }
    file->commit(content);
    utils::logInfo(formatter.formatMessage("Save OK"));
    return true;
}

std::optional<DeltacastConfigurationFile::DeltacastConfig> DeltacastConfigurationFile::peek()
    const {
    try {
        DeltacastConfig configuration;
        const auto content = os::readOurs(path, largestFormat);
        if (content && configuration.ParsePartialFromString(*content) &&
            configuration.IsInitialized()) {
            return configuration;
        }
    } catch (const std::exception&) {
        // who is to use it says so
    }
    return std::nullopt;
}

bool DeltacastConfigurationFile::load(DeltacastConfig& configuration) const {
    utils::logInfo(
        formatter.formatMessage("Restoring persistent deltacast configuration from file: " + path));
    try {
        os::closeToOthers(path, os::closedFile);
        const auto content = os::readOurs(path, largestFormat);
        if (!content) {
            utils::logInfo(formatter.formatMessage("Failed opening file"));
            return false;
        }
        if (!configuration.ParsePartialFromString(*content)) {
            return fail("Failed deserializing message");
        }
        if (!configuration.IsInitialized()) {
            return fail("Failed setting configuration: saved configuration is not initialized");
        }
    } catch (const std::exception& e) {
        return fail(std::string("Failed reading file: ") + e.what());
    }
    utils::logDebug(
        formatter.formatMessage("Loaded configuration to restore: " + configuration.DebugString()));
    return true;
}

bool DeltacastConfigurationFile::fail(const std::string& text) const {
    utils::logError(formatter.formatMessage(text));
    return false;
}

}  // namespace tarn::service::devices
