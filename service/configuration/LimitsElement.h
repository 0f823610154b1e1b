#pragma once

#include <functional>
#include <string>

#include "platform/socket/Limits.h"
#include "service/configuration/xml/XmlText.h"

namespace tarn::service::configuration {

/// Takes the limits of a Limits element over: whole numbers, of which each has an attribute:
///
///     <Limits connectionsPerUser="128" waitingMiBPerUser="64" requestsPerSecond="500"
///             submissionsPerSecond="10" jobsPerUser="200"/>
///
/// What is not there, or is no number from 1 to its largest, leaves the limit as it is. The latter
/// is told to `complain`, and an attribute of another name is, too.
void readLimits(const XmlNode& element, socket::Limits& limits,
                const std::function<void(const std::string& problem)>& complain);

}  // namespace tarn::service::configuration
