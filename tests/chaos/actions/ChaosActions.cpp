// What can happen, and all of it but what happens to jobs and tracks and what takes long.
#include "tests/chaos/Chaos.h"

namespace tarn::chaos {

const std::vector<Chaos::Action>& Chaos::actions() {
    static const std::vector<Action> all = {
        {"submissions", 60, Needs::ServiceUp, &Chaos::submit},
        {"submissions during which the service was killed", 3, Needs::ServiceUp,
         &Chaos::submitAndKillService},
        {"stops", 10, Needs::ServiceUp, &Chaos::stopAJob},
        {"looks", 20, Needs::ServiceUp, &Chaos::lookAtJobs},
        {"kills of the service", 6, Needs::ServiceUp, &Chaos::killService},
        {"kills of a service that had just started", 2, Needs::Nothing, &Chaos::killServiceOften},
        {"interrupts", 3, Needs::ServiceUp, &Chaos::interruptService},
        {"starts", 60, Needs::ServiceDown, &Chaos::startService},
        {"kills of a companion", 4, Needs::Nothing, &Chaos::killCompanion},
        {"kills of a launcher", 6, Needs::Nothing, &Chaos::killLauncher},
        {"kills of a pipeline process", 6, Needs::Nothing, &Chaos::killPipeline},
        {"kills of the loop storage", 4, Needs::StorageUp, &Chaos::killStorage},
        {"starts of the loop storage", 20, Needs::StorageDown, &Chaos::startStorage},
        {"changes of the tracks", 8, Needs::ServiceUp, &Chaos::changeTracks},
        {"changes of the tracks during which the storage was killed", 3, Needs::BothUp,
         &Chaos::changeTracksAndKillStorage},
        {"changes of the tracks during which the service was killed", 2, Needs::BothUp,
         &Chaos::changeTracksAndKillService},
        {"tracks cleared", 2, Needs::ServiceUp, &Chaos::clearTrack},
        {"halts of the gateway", 1, Needs::ServiceUp, &Chaos::haltGateway, Frequency::Seldom},
        {"jobs that were ended and submitted again at once", 3, Needs::ServiceUp,
         &Chaos::resubmitAtOnce, Frequency::Seldom},
        {"services short of descriptors", 1, Needs::ServiceUp, &Chaos::takeDescriptorsOfService,
         Frequency::Seldom},
        {"gateways short of descriptors", 1, Needs::ServiceUp, &Chaos::takeDescriptorsOfGateway,
         Frequency::Seldom},
        {"services whose log nobody read any more", 2, Needs::ServiceUp, &Chaos::closeLogOfService,
         Frequency::Seldom},
        {"companions whose log nobody read any more", 2, Needs::Nothing,
         &Chaos::closeLogOfCompanion, Frequency::Seldom},
        {"kills of the ingest service", 3, Needs::Capture, &Chaos::killIngest, Frequency::Seldom},
        {"capture formats", 3, Needs::Capture, &Chaos::orderCaptureFormat, Frequency::Seldom},
        {"capture formats that the ingest service refused", 1, Needs::Capture,
         &Chaos::orderRefusedCaptureFormat, Frequency::Seldom},
        {"capture formats during which the service was killed", 2, Needs::Capture,
         &Chaos::orderCaptureFormatAndKillService, Frequency::Seldom},
        {"full disks of the loop storage", 2, Needs::BothUp, &Chaos::fillStorageDisk,
         Frequency::Seldom},
        {"unreadable tracks", 2, Needs::StorageUp, &Chaos::failReadsOfDiskTrack, Frequency::Seldom},
        {"slow disks of the loop storage", 1, Needs::StorageUp, &Chaos::slowDiskTrack,
         Frequency::Seldom},
        {"writers whose host vanished", 1, Needs::StorageUp, &Chaos::strandWriter,
         Frequency::Seldom},
        {"registries deleted", 8, Needs::ServiceDown, &Chaos::deleteRegistry},
        {"registries damaged", 8, Needs::ServiceDown, &Chaos::damageRegistry},
        {"changes of the odd device", 4, Needs::Nothing, &Chaos::changeOddDevice,
         Frequency::Seldom},
        {"disks filled", 2, Needs::Nothing, &Chaos::fillDisk},
        {"disks freed", 6, Needs::Nothing, &Chaos::freeDisk},
    };
    return all;
}

void Chaos::killService() {
    machine.killService();
    ++counts["services killed"];
}

void Chaos::killServiceOften() {
    for (int n = 0; n < 3; ++n) {
        if (!machine.serviceIsUp()) {
            machine.startService();
        }
        pause();
        killService();
    }
}

void Chaos::interruptService() {
    if (machine.interruptService() != test::Ending::exited(0)) {
        return complain("the service did not end in order");
    }
    model.serviceInterrupted();
}

void Chaos::startService() {
    machine.startService();
}

void Chaos::killCompanion() {
    auto& companion = machine.companions()[below(machine.companions().size())];
    Machine::killHard(companion);
    Machine::start(companion);
    ++counts["kills of " + companion.name];
}

void Chaos::deleteRegistry() {
    Machine::deleteRegistry();
    model.registryLost();
}

void Chaos::damageRegistry() {
    Machine::damageRegistry(random);
    model.registryLost();
}

void Chaos::fillDisk() {
    machine.folder().fill();
}

void Chaos::freeDisk() {
    machine.folder().free();
}

}  // namespace tarn::chaos
