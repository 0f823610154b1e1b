#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/device_tree/DeviceNode.h"
#include "proto/monitoring.pb.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::test {

/// The built ingest service, with the test in the place of the service that watches it.
class IngestBed : public testing::Test {
  protected:
    using Request = proto::monitoring::TarnServiceToDeviceRequest;
    using Reply = proto::monitoring::DeviceToTarnServiceReply;

    /// With these options but the endpoints.
    std::vector<std::string> commandWith(const std::vector<std::string>& options) const;
    /// Starts it and waits until it answers.
    void startWith(const std::vector<std::string>& options);

    // The same without any device.
    std::vector<std::string> command(const std::vector<std::string>& options) const;
    void start(const std::vector<std::string>& options);

    /// Its exit status, after it was interrupted.
    int stop();

    Reply ask(const Request& request) const;
    proto::monitoring::GetDescriptionReply describe() const;
    device_tree::DeviceNode node() const;
    std::string property(const std::string& name) const;

    // Of a channel.
    std::shared_ptr<device_tree::DeviceNode> channel(const std::string& number) const;
    std::string status(const std::string& number, const std::string& name) const;
    std::uint64_t count(const std::string& number, const std::string& name) const;
    std::string signal(const std::string& number) const { return status(number, "SignalState"); }
    std::uint64_t captured(const std::string& number) const {
        return count(number, "FramesCaptured");
    }

    /// Frames of a channel as a reader gets them, in bytes. They are in the file "frames".
    std::uintmax_t read(const std::string& channel, int frames) const;

    std::vector<std::string> left() const;

    /// The shared memory of a process.
    static std::size_t memoryOf(pid_t id);

    TemporaryFolder folder;
    const std::string endpoint = "ipc://" + (folder.path() / "ingest").string();
    const std::string events = "ipc://" + (folder.path() / "events").string();
    const std::string prefix = (folder.path() / "k").string();
    std::unique_ptr<Process> ingest;
};

}  // namespace tarn::test
