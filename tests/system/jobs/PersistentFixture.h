#pragma once

#include <memory>
#include <string>

#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

/// A running service with a folder for persistent jobs.
class PersistentFixture : public SystemTest {
  protected:
    static constexpr auto jobsFolder = "/tmp/jobs";

    void SetUp() override;

    static std::string file(const std::string& name) { return jobsFolder + ("/" + name); }

    static JobOrder persistent(const std::string& name, const std::string& pipeline = endless) {
        return {.pipeline = pipeline, .persistent = true, .persistentName = name};
    }

    /// The running job of that id, at the endpoints that it has now; it must play.
    std::unique_ptr<Job> find(const std::string& id);

    /// So many jobs run, listed or not. Waits for it: a job leaves the list a moment before its
    /// launcher is gone, and plays while the process that put itself in the background still ends.
    static void expectLaunchers(std::size_t count);
};

}  // namespace tarn::test
