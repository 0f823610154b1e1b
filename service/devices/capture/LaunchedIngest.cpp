#include "service/devices/capture/LaunchedIngest.h"

#include <exception>
#include <sstream>
#include <string_view>
#include <utility>

#include "platform/os/ClosedFile.h"
#include "platform/os/FileReplacement.h"
#include "platform/os/SmallFile.h"
#include "platform/utils/Log.h"
#include "platform/utils/MessageFormatter.h"

namespace tarn::service::devices {

namespace {

constexpr std::string_view orderedWord = "ordered";
constexpr std::string_view launchedWord = "launched";

}  // namespace

LaunchedIngest::LaunchedIngest(std::string path, const utils::IMessageFormatter& formatter)
    : path(std::move(path)), formatter(formatter) {
    load();
}

void LaunchedIngest::ordered(Time now) {
    order = now;
    keep(std::string(orderedWord) + " " + std::to_string(now.time_since_epoch().count()));
}

void LaunchedIngest::showedItself(const os::ProcessIdentity& process, Time now) {
    if (process == std::exchange(seen, process)) {
        return;
    }
    if (order && now - *order <= longestStart) {
        launched = process;
        keep(std::string(launchedWord) + " " + std::to_string(process.id) + " " +
             std::to_string(process.startTime));
    }
    order.reset();
}

// "ordered" and the time, or "launched", the number of the process and its start time.
void LaunchedIngest::load() {
    std::string word;
    constexpr std::size_t longestLine = 128;
    os::closeToOthers(path, os::closedFile);
    std::istringstream file(os::readBeginning(path, longestLine).value_or(""));
    file >> word;
    if (Time::rep time = 0; word == orderedWord && file >> time) {
        order = Time(Time::duration(time));
    }
    if (os::ProcessIdentity kept; word == launchedWord && file >> kept.id >> kept.startTime) {
        launched = kept;
    }
}

// Without it the next service leaves the process to itself.
void LaunchedIngest::keep(const std::string& content) const {
    if (path.empty()) {
        return;
    }
    try {
        os::FileReplacement(path).commit(content + "\n");
    } catch (const std::exception& e) {
        utils::logWarning(formatter.formatMessage(
            std::string("The next service will not know that it launched the process: ") +
            e.what()));
    }
}

}  // namespace tarn::service::devices
