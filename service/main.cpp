#include "platform/utils/ProcessDefaults.h"
#include "service/runtime/ServiceProcess.h"

int main(int argc, char* argv[]) {
    tarn::utils::ignoreBrokenPipes();
    tarn::utils::raiseDescriptorLimit();
    return tarn::service::ServiceProcess().run(argc, argv);
}
