#pragma once

#include <optional>
#include <string>

#include "proto/deltacast_configuration.fwd.h"

namespace tarn::utils {
class IMessageFormatter;
}

namespace tarn::service::devices {

/// The file that keeps the last capture format over a restart: one message in its binary encoding
/// and nothing else. What goes wrong is logged. One thread at a time.
class DeltacastConfigurationFile {
  public:
    using DeltacastConfig = tarn::proto::deltacast_configuration::DeltacastConfig;

    /// An empty path stands for no file. The formatter outlives this.
    DeltacastConfigurationFile(std::string path, const utils::IMessageFormatter& formatter);

    /// Replaces the content as a whole: a crash leaves the old one or the new one.
    bool save(const DeltacastConfig& configuration) const;

    /// What it holds, if that can be used; logs nothing.
    std::optional<DeltacastConfig> peek() const;

    /// False for a file that cannot be read, holds something else, or lacks a required field.
    bool load(DeltacastConfig& configuration) const;

  private:
    bool write(const std::string& content) const;
    bool fail(const std::string& text) const;

    const std::string path;
    const utils::IMessageFormatter& formatter;
};

}  // namespace tarn::service::devices
