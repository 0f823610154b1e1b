#include <google/protobuf/stubs/logging.h>

#include "platform/os/ProcessDefaults.h"
#include "service/runtime/ServiceProcess.h"

int main(int argc, char* argv[]) {
    tarn::os::ignoreBrokenPipes();
    tarn::os::raiseDescriptorLimit();
    // What is wrong with a message is logged where it is received; the library would write it to
    // standard error itself, and wait for whoever reads that.
    google::protobuf::SetLogHandler(nullptr);
    return tarn::service::ServiceProcess().run(argc, argv);
}
