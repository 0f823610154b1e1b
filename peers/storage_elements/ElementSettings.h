#pragma once

#include <gst/gst.h>

#include <cstdint>
#include <string>

namespace tarn::peers::storage_elements {

/// The properties that both elements have.
struct ElementSettings {
    std::string location;
    std::int64_t track = -1;
    std::string workerName;
};

enum SharedProperty : guint { PropertyLocation = 1, PropertyTrack, PropertyWorkerName, FirstOther };

/// Installs them in a class, and sets and gets them; false for another property.
void installSharedProperties(GObjectClass* type);
bool setSharedProperty(ElementSettings& settings, guint property, const GValue* value);
bool getSharedProperty(const ElementSettings& settings, guint property, GValue* value);

std::string textOf(const GValue* value);

}  // namespace tarn::peers::storage_elements
