#pragma once

namespace tarn::cli {

/// How the process ends; the numbers are an interface for scripts.
enum class ExitStatus {
    Done = 0,
    Failed = 1,  ///< refused by the service or the job, or failed on the way
    Usage = 2,   ///< the command line does not make sense
    NoAnswer = 3,
    Interrupted = 130,  ///< Ctrl-C, as shells report it
};

}  // namespace tarn::cli
