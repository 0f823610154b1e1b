#include "tests/peers/ingest_service/IngestBed.h"

#include <signal.h>

#include <array>
#include <cstdio>
#include <filesystem>

#include "platform/socket/Socket.h"
#include "tests/peers/support/JobClient.h"

namespace tarn::test {

using namespace tarn::proto::monitoring;
using tarn::device_tree::DeviceNode;

std::vector<std::string> IngestBed::commandWith(const std::vector<std::string>& options) const {
    std::vector<std::string> words = {builtProgram("KLN-SDI-Ingest-Service"),
                                      "--endpoint",
                                      endpoint,
                                      "--event-endpoint",
                                      events,
                                      "--socket-prefix",
                                      prefix};
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

void IngestBed::startWith(const std::vector<std::string>& options) {
    ingest = std::make_unique<Process>(commandWith(options));
    ASSERT_TRUE(ingest->waitForErr("answers on"));
}

std::vector<std::string> IngestBed::command(const std::vector<std::string>& options) const {
    auto words = commandWith({"--test-picture"});
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

void IngestBed::start(const std::vector<std::string>& options) {
    ingest = std::make_unique<Process>(command(options));
    ASSERT_TRUE(ingest->waitForErr("answers on"));
}

int IngestBed::stop() {
    ingest->signal(SIGTERM);
    return ingest->wait().exitStatus;
}

IngestBed::Reply IngestBed::ask(const Request& request) const {
    Reply reply;
    tarn::test::ask(endpoint, request, reply);
    return reply;
}

GetDescriptionReply IngestBed::describe() const {
    Request request;
    request.set_type(Request::GET_DESCRIPTION);
    return ask(request).GetExtension(GetDescriptionReply::base);
}

DeviceNode IngestBed::node() const {
    return DeviceNode(describe().device());
}

std::string IngestBed::property(const std::string& name) const {
    const auto described = node();
    const auto* const found = described.getProperty(name);
    return found != nullptr ? found->value : "missing";
}

std::shared_ptr<DeviceNode> IngestBed::channel(const std::string& number) const {
    return node().getDeviceById("KLN-SDI-Ingest-Service.channel." + number);
}

std::string IngestBed::status(const std::string& number, const std::string& name) const {
    return std::get<std::string>(channel(number)->getStatus(name)->getValue());
}

std::uint64_t IngestBed::count(const std::string& number, const std::string& name) const {
    return std::get<std::uint64_t>(channel(number)->getStatus(name)->getValue());
}

std::uintmax_t IngestBed::read(const std::string& channel, int frames) const {
    const auto file = folder.path() / "frames";
    const auto reader =
        runProcess({"gst-launch-1.0", "-q", "shmsrc", "num-buffers=" + std::to_string(frames),
                    "socket-path=" + prefix + "-channel-" + channel, "!", "filesink",
                    "location=" + file.string()});
    EXPECT_EQ(reader.exitStatus, 0) << reader.err;
    return reader.exitStatus == 0 ? std::filesystem::file_size(file) : 0;
}

std::vector<std::string> IngestBed::left() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

std::size_t IngestBed::memoryOf(pid_t id) {
    std::array<char, 40> beginning{};
    std::snprintf(beginning.data(), beginning.size(), "shmpipe.%5d.", id);
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
        count += entry.path().filename().string().starts_with(beginning.data()) ? 1 : 0;
    }
    return count;
}

}  // namespace tarn::test
