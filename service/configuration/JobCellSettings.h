#pragma once

#include <string>
#include <vector>

#include "platform/utils/MessageFormatter.h"
#include "service/configuration/xml/XmlText.h"

namespace tarn::service::configuration {

/// What jobs may do on this machine: the section `Jobs`.
struct JobCellSettings {
    /// Whether the file has the section. Without it jobs reach what their user reaches, but for
    /// the service's own, and no element is refused.
    bool isGiven = false;
    bool isRequired = false;  ///< a job whose cell lacks something is refused
    std::vector<std::string> readFolders;
    std::vector<std::string> writeFolders;
    std::vector<std::string> refusedElements;
    std::string user = "tarn-job";
    int memoryMiB = 0;  ///< this and the following: 0 for no limit
    int processes = 0;
    int descriptors = 0;
};

/// The elements of the section.
const std::vector<std::string>& jobCellElementNames();

/// Takes over a `Jobs` element. One without a folder to write to names "/srv/tarn", one without
/// refused elements those that write past the folders or bring a browser, as far as they are known.
/// Throws ConfigurationError, with the header of `owner`, for a folder that is no absolute path and
/// for a limit that is no number from 1 on.
void readJobCell(const XmlNode& element, JobCellSettings& settings,
                 const utils::IMessageFormatter& owner);

}  // namespace tarn::service::configuration
