#pragma once

/// Each writes its results as JSON lines. They expect a running TarnService with default endpoints,
/// installed at the default paths: scripts/benchmark arranges that.
namespace tarn::benchmarks {

/// GET_INFO, and GET_JOBS with 100 jobs, against a bare echo of the same sizes.
void measureApiLatency();

/// A request whose sender's level is looked up, against the same without.
void measureAccessCheck();

/// A request over TCP of the sizes of GET_INFO, with keys against without. Needs no service.
void measureTcpKeys();

/// From a submission until the job plays, against starting the same launcher by hand.
void measureJobStart();

/// The pipeline process of a job from its start until its pipeline is parsed, in its cell and
/// without one. Needs no service.
void measureJobCell();

/// Memory, processor use and wake-ups while nobody asks anything: of the service and the gateway,
/// then of a job's launcher as well, with three jobs.
void measureIdleService();

/// Tracks of a loop storage server of its own against plain files: writing, reading, one writer
/// with many readers, making and removing.
void measureLoopStorage();
/// Only TLS, against TCP as it is.
void measureStorageEncryption();
/// Only making and removing tracks, against files of their size.
void measureCreatingTracks();
/// From a request for another capture format until it is in force, against the start of the ingest
/// service alone, and what is left after all changes; CAPTURE_ROUNDS of them when that is set. And
/// the time until a killed ingest service is noticed. Both need an ingest service configured.
void measureCaptureFormats();
void measureDeadIngest();

/// The command line client as a whole process, against a process that does nothing.
void measureToolStart();

// Of the devices: the configuration has to name those of DeviceProcess, and the gateway to run.

/// From a device's event until a subscriber of the gateway has the new tree, against a bare relay.
void measureDeviceChange();

/// Changes of statuses that the service takes in.
void measureStatusChanges();

/// GET_MONITORING_INFO, and a change of one status, with 10,000 nodes in small devices and in one.
void measureMonitoringInfo();

/// Memory of the service for each node of its tree.
void measureDeviceMemory();

/// A change until the last of many subscribers has it, against a bare relay, and what the gateway
/// uses.
void measureGatewayFanOut();

/// What it costs the gateway, and a subscriber, to follow the tree by differences, against whole
/// trees.
void measureGatewayUpdates();

/// What the service uses while many devices do nothing.
void measureDeviceFleet();

}  // namespace tarn::benchmarks
