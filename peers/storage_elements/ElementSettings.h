#pragma once

#include <gst/gst.h>

#include <cstdint>
#include <string>

#include "peers/storage_elements/Location.h"

namespace tarn::peers::storage_elements {

/// The properties that both elements have.
struct ElementSettings {
    std::string location;
    std::int64_t track = -1;
    std::string workerName;
    std::string certificate;
    std::string fingerprint;
};

/// Throws std::invalid_argument, also for a certificate without a fingerprint, or for none of TCP.
Location locationOf(const ElementSettings& settings);

enum SharedProperty : guint {
    PropertyLocation = 1,
    PropertyTrack,
    PropertyWorkerName,
    PropertyCertificate,
    PropertyFingerprint,
    FirstOther
};

/// Installs them in a class, and sets and gets them; false for another property.
void installSharedProperties(GObjectClass* type);
bool setSharedProperty(ElementSettings& settings, guint property, const GValue* value);
bool getSharedProperty(const ElementSettings& settings, guint property, GValue* value);

std::string textOf(const GValue* value);

}  // namespace tarn::peers::storage_elements
