#pragma once

#include "service/configuration/ConfigurationSettings.h"
#include "service/configuration/check/ProblemList.h"
#include "service/configuration/xml/XmlText.h"

namespace tarn::service::configuration {

// Both go by the settings table. `root` is the root element.

/// Warns of the elements below the root that the service ignores.
void findUnknownElements(const XmlNode& root, ProblemList& problems);

/// Checks what the reader takes over without a look: endpoints parse; ranges of ports do not run
/// downwards, and no port is cut to 16 bits; plug-ins are files, launchers are executable files (a
/// name without a slash, which is searched for elsewhere, is not looked at); the input lists of a
/// Deltacast service can be filled into its command line. `settings` is what was read, up to a
/// failure.
void checkContents(const XmlNode& root, const ConfigurationSettings& settings,
                   ProblemList& problems);

}  // namespace tarn::service::configuration
