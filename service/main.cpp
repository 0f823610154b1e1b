#include "service/runtime/ServiceProcess.h"

int main(int argc, char* argv[]) {
    return tarn::service::ServiceProcess().run(argc, argv);
}
