#pragma once

/// Each writes its results as JSON lines. They expect a running TarnService with default endpoints,
/// installed at the default paths: scripts/benchmark arranges that.
namespace tarn::benchmarks {

/// GET_INFO, and GET_JOBS with 100 jobs, against a bare echo of the same sizes.
void measureApiLatency();

/// From a submission until the job plays, against starting the same launcher by hand.
void measureJobStart();

/// Memory and processor use of the service while nobody asks anything.
void measureIdleService();

/// The command line client as a whole process, against a process that does nothing.
void measureToolStart();

}  // namespace tarn::benchmarks
