#include "service/configuration/ConfigurationSettings.h"

namespace tarn::service::configuration {

void ConfigurationSettings::reset() {
    ConfigurationSettings builtIn;
    builtIn.deltacastServices = std::move(deltacastServices);
    builtIn.persistentDeltacastConfigurationFile = std::move(persistentDeltacastConfigurationFile);
    *this = std::move(builtIn);
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
