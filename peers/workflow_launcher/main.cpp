// Becomes a job: takes its setup and sees a media pipeline through.
#include "peers/job_runtime/Launcher.h"
#include "peers/workflow_launcher/WorkflowSetup.h"

int main(int argc, char** argv) {
    return tarn::peers::runLauncher(argc, argv, "Runs one media job; started by the service",
                                    tarn::peers::WorkflowSetup());
}
