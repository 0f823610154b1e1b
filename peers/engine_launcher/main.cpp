// Becomes an engine: takes its setup and runs its pipeline until it is destroyed.
#include "peers/engine_launcher/EngineSetup.h"
#include "peers/job_runtime/Launcher.h"

int main(int argc, char** argv) {
    return tarn::peers::runLauncher(argc, argv, "Runs one engine; started by the service",
                                    tarn::peers::EngineSetup());
}
