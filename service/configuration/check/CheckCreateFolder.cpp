#include "service/configuration/check/CheckCreateFolder.h"

#include <sys/stat.h>

#include <boost/filesystem/operations.hpp>
#include <cerrno>

#include "platform/os/ClosedFile.h"

namespace tarn::service::configuration {

namespace fs = boost::filesystem;
using boost::system::error_code;

namespace {

/// Empty when the folder was created, or by somebody else in the meantime.
std::string createFolder(const std::string& folder) {
    const bool isThere = ::mkdir(folder.c_str(), os::closedFolder) == 0 || errno == EEXIST;
    const error_code reason(isThere ? 0 : errno, boost::system::system_category());
    return reason ? "Failed creating folder " + folder + ": " + reason.message() : "";
}

std::string problemOf(const std::string& folder) {
    error_code reason;
    const fs::file_status status = fs::status(folder, reason);
    switch (status.type()) {
        case fs::directory_file:
            return "";
        case fs::file_not_found:
            return createFolder(folder);
        case fs::status_error:
            return "Failed getting info on folder " + folder + ": " + reason.message();
        default:
            return folder + " is not a folder";
    }
}

}  // namespace

bool checkCreateFolder(const std::string& folder, std::string& error) {
    try {
        error.clear();
        error = problemOf(folder);
    } catch (const std::exception& failure) {
        error = "Failure on " + folder + ": " + failure.what();
    }
    return error.empty();
}

}  // namespace tarn::service::configuration
