#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

/// A machine with a second user, who was there first. Skips where there is one user only.
class OtherUsersTest : public SystemTest {
  protected:
    void SetUp() override;
    void TearDown() override;

    /// Runs `thief` as the second user, until the end or until he is told to go.
    Process& startThief(const std::vector<std::string>& arguments);
    void sendThievesAway();

    static bool stoleSomething(const Process& thief);

    /// What the second user may put in the place of a name.
    enum class Obstacle { File, Folder, Link, Pipe, DeadSocket, Listener };
    static constexpr Obstacle obstacles[] = {Obstacle::File,       Obstacle::Folder,
                                             Obstacle::Link,       Obstacle::Pipe,
                                             Obstacle::DeadSocket, Obstacle::Listener};
    /// It stays until the next one at that path, or the end.
    void obstruct(const std::string& path, Obstacle obstacle);
    void clear(const std::string& path);

    static constexpr auto namesTheOwner = "it belongs to user 61001";

  private:
    std::vector<std::unique_ptr<Process>> thieves;
    std::vector<std::shared_ptr<void>> listeners;
};

}  // namespace tarn::test
