#include "service/configuration/ConfigurationSettings.h"

namespace tarn::service::configuration {

void ConfigurationSettings::reset() {
    requestsEndpoint = "ipc:///tmp/requests";
    eventsEndpoint = "ipc:///tmp/events";
    resourcesEndpoint = "ipc:///tmp/resource";
    tcpPortRanges.clear();
    workflowLauncher = "/opt/halden/halden-tarn-workflow-launcher/bin/tarnWorkflowLauncher";
    engineLauncher = "/opt/halden/halden-tarn-engine-launcher/bin/tarnEngineLauncher";
    plugins.clear();
    loopStorages.clear();
    devices.clear();
    persistentJobsFolder = "/usr/share/TarnJobs";
}

const std::vector<std::string>& defaultPlugins() {
    static const std::vector<std::string> plugins = {
        "/opt/halden/halden-klnsdk/lib64/libklnLibsndfile.so",
        "/opt/halden/halden-klnsdk/lib64/libklnMC.so",
        "/opt/halden/halden-klnsdk/lib64/libklnVideoCodecProRes.so",
        "/opt/halden/halden-klnsdk/lib64/libklnVideoCodecTurboJpeg.so",
        "/opt/halden/halden-tarn-storage/lib64/libhalden-tarn-storage-kln.so",
        "/opt/halden/halden-tarn-multiprocess-stream/lib64/libhalden-tarn-multiprocess-stream.so",
    };
    return plugins;
}

}  // namespace tarn::service::configuration
