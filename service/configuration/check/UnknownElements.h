#pragma once

#include "service/configuration/check/ProblemList.h"
#include "service/configuration/xml/XmlText.h"

namespace tarn::service::configuration {

/// Warns of the elements below the root that the service ignores.
void findUnknownElements(const XmlNode& root, ProblemList& problems);

}  // namespace tarn::service::configuration
