#pragma once

#include "service/configuration/ConfigurationSettings.h"
#include "service/configuration/check/ProblemList.h"
#include "service/configuration/xml/XmlText.h"

namespace tarn::service::configuration {

/// Checks of what the reader takes over without a look. `root` is the root element.

/// The service's own endpoints that count, and the monitoring interface of every device, parse.
void checkEndpoints(const XmlNode& root, ProblemList& problems);

/// Warns of ranges that run downwards and of ports that are cut to 16 bits. `settings` is what was
/// read, up to a failure.
void checkPortRanges(const XmlNode& root, const ConfigurationSettings& settings,
                     ProblemList& problems);

/// Plug-ins are files, launchers are executable files. A name without a slash, which is searched
/// for elsewhere, is not looked at.
void checkFiles(const XmlNode& root, ProblemList& problems);

/// The input lists of each Deltacast service can be filled into its command line.
void checkInputLists(const XmlNode& root, ProblemList& problems);

}  // namespace tarn::service::configuration
