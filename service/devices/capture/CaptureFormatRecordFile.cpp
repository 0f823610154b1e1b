#include "service/devices/capture/CaptureFormatRecordFile.h"

#include <boost/crc.hpp>
#include <cstdint>
#include <exception>
#include <optional>

#include "platform/os/ClosedFile.h"
#include "platform/os/FileReplacement.h"
#include "platform/os/TrustedFile.h"
#include "platform/utils/Log.h"
#include "platform/utils/MessageFormatter.h"
#include "proto/capture_format_record.pb.h"

namespace tarn::service::devices {

namespace {

using Record = CaptureFormatRecordFile::Record;

constexpr std::size_t largestRecord = 1U << 20U;

std::uint32_t checksumOf(Record record) {
    record.clear_checksum();
    const auto content = record.SerializeAsString();
    boost::crc_32_type checksum;
    checksum.process_bytes(content.data(), content.size());
    return checksum.checksum();
}

// Partial, since a record that lacks something is damaged like any other, and not the library's to
// complain about.
std::optional<Record> parse(const std::string& content) {
    Record record;
    const bool isGood = record.ParsePartialFromString(content) && record.IsInitialized() &&
                        record.has_checksum() && record.checksum() == checksumOf(record);
    record.clear_checksum();
    return isGood ? std::optional(record) : std::nullopt;
}

}  // namespace

CaptureFormatRecordFile::CaptureFormatRecordFile(const std::string& formatFile,
                                                 const utils::IMessageFormatter& formatter)
    : path(formatFile.empty() ? "" : pathBeside(formatFile)), formatter(formatter) {}

std::string CaptureFormatRecordFile::pathBeside(const std::string& formatFile) {
    return formatFile + ".record";
}

Record CaptureFormatRecordFile::load() const {
    std::string problem = "it is damaged";
    try {
        os::closeToOthers(path, os::closedFile);
        const auto content = path.empty() ? std::nullopt : os::readOurs(path, largestRecord);
        if (!content) {
            return {};
        }
        if (auto record = parse(*content)) {
            return *record;
        }
    } catch (const std::exception& e) {
        problem = e.what();
    }
    utils::logWarning(formatter.formatMessage(
        "Cannot use " + path + ": " + problem +
        ". It is not known whether the last capture format has ever been seen running"));
    return {};
}

bool CaptureFormatRecordFile::store(const Record& record) const {
    if (path.empty()) {
        return false;
    }
    try {
        auto whole = record;
        whole.set_checksum(checksumOf(record));
        os::FileReplacement(path).commit(whole.SerializeAsString());
        return true;
    } catch (const std::exception& e) {
        utils::logError(formatter.formatMessage("Failed writing " + path + ": " + e.what()));
        return false;
    }
}

}  // namespace tarn::service::devices
