#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/access/TcpAccess.h"
#include "platform/resource_manager/RunningJob.h"
#include "proto/service.fwd.h"

namespace tarn::peers {

/// What a launcher was told to run, whichever kind of setup it came as.
struct JobSetup {
    std::string label;                               ///< names the log when the caller did not
    tarn::resource_manager::RunningJob job;          ///< description, endpoints, resources, process
    std::string pipeline;                            ///< in the launch syntax
    std::map<std::string, std::string> environment;  ///< for the pipeline
    std::vector<std::string> pullEndpoints;          ///< bound, and what arrives is dropped
    std::vector<std::string> publishEndpoints;       ///< bound, and kept silent
    std::string resourcesEndpoint;                   ///< empty: the job runs unregistered
    std::string persistentFile;                      ///< empty: not persistent
    std::string persistentContent;                   ///< what that file holds
    bool comesBack = false;                          ///< it was read from that file
    /// What confines the pipeline; none: what a service says whose configuration says nothing.
    std::shared_ptr<const tarn::service::proto::JobCell> cell = {};
    tarn::access::TcpAccessSettings tcpAccess = {};  ///< for its endpoints over TCP
};

}  // namespace tarn::peers
