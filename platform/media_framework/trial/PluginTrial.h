#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace tarn::media_framework {

/// Loads a plug-in in a process of its own, to see whether that process survives it. Any thread.
///
/// Nothing else is asked: a library that cannot be loaded, or a plug-in that refuses to start,
/// harms nobody and passes; whoever loads it afterwards is told why.
class PluginTrial {
  public:
    /// `program` is the path of the trial program. A trial that takes longer than `bound` is
    /// killed, with whatever it started.
    PluginTrial(std::string program, std::chrono::milliseconds bound);

    /// What became of the process, with what it wrote: "crashed when it was tried: signal 11
    /// (Segmentation fault)". Nothing when it survived. That it cannot be tried is a failure too.
    std::optional<std::string> failureOf(const std::string& plugin) const;

    static constexpr char programName[] = "tarnPluginTrial";

    /// How the trial program ends when it has survived, a status that a plug-in which ends the
    /// process is not likely to choose.
    static constexpr int survived = 113;

  private:
    const std::string program;
    const std::chrono::milliseconds bound;
};

}  // namespace tarn::media_framework
