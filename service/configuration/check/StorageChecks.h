#pragma once

#include "service/configuration/ConfigurationSettings.h"
#include "service/configuration/check/ProblemList.h"
#include "service/configuration/xml/XmlText.h"

namespace tarn::service::configuration {

/// Of the file that an element names: this machine's key and certificate for loop storages.
void checkStorageCertificate(const XmlNode& element, ProblemList& problems);

/// Whether the loop storages below the root are reached encrypted where they should be.
void checkStorages(const XmlNode& root, const SecuritySettings& security, ProblemList& problems);

}  // namespace tarn::service::configuration
