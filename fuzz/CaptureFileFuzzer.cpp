// The files that keep the capture format, its record and the launch of the ingest service, whatever
// they hold: each is refused or read, and what was read is kept again as it is, and makes a command
// line.

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "fuzz/inputs.pb.h"
#include "fuzz/support/MessageMutator.h"
#include "fuzz/support/PrivateFolder.h"
#include "fuzz/support/QuietLog.h"
#include "fuzz/support/Require.h"
#include "platform/utils/MessageFormatter.h"
#include "service/configuration/DeltacastServiceConfigurationHandler.h"
#include "service/configuration/xml/XmlDocument.h"
#include "service/devices/capture/CaptureFormatRecordFile.h"
#include "service/devices/capture/DeltacastConfigurationFile.h"
#include "service/devices/capture/DeltacastFormat.h"
#include "service/devices/capture/LaunchedIngest.h"

namespace {

using namespace tarn::service::devices;
using tarn::fuzz::CaptureFiles;
using tarn::fuzz::PrivateFolder;
using tarn::fuzz::require;
using tarn::proto::deltacast_configuration::DeltacastConfig;
using tarn::service::configuration::DeltacastServiceConfigurationHandler;

const tarn::utils::MessageFormatter owner("Fuzzer");

const DeltacastServiceConfigurationHandler& ingest() {
    static const auto* const made = [] {
        const tarn::service::configuration::XmlDocument document(
            "<DeltacastService><CommandLine>ingest -p %pixel-format -i '%board0-input-list' -o "
            "'%board0-input-frameoffset' -l %line-count -f %field-mode -r "
            "%frame-rate</CommandLine></DeltacastService>\n");
        auto* const handler = new DeltacastServiceConfigurationHandler();
        std::string error;
        handler->parseXml(*tarn::service::configuration::allChildElements(document.top()).at(0),
                          error);
        return handler;
    }();
    return *made;
}

void makeCommandLine(const DeltacastConfig& configuration) {
    const auto format = toFormat(configuration);
    require(!nameOf(format).empty());
    try {
        ingest().getCommandLine(format.pixelFormat, format.inputList, format.frameOffsetList,
                                format.lineCount, format.fieldMode, format.frameRate);
    } catch (const std::invalid_argument&) {
        // longer than any shell takes
    }
}

void readFormat(const std::string& path, const std::string& again) {
    const DeltacastConfigurationFile file(path, owner);
    DeltacastConfig read;
    const bool isRead = file.load(read);
    require(isRead == file.peek().has_value());
    if (!isRead) {
        return;
    }
    makeCommandLine(read);
    const DeltacastConfigurationFile other(again, owner);
    DeltacastConfig kept;
    require(other.save(read) && other.load(kept));
    require(kept.SerializeAsString() == read.SerializeAsString());
}

void readRecord(const CaptureFormatRecordFile::Record& record, const std::string& path,
                const std::string& again) {
    const CaptureFormatRecordFile file(path, owner);
    const auto read = file.load();
    require(!read.has_checksum());
    if (record.IsInitialized()) {
        const CaptureFormatRecordFile other(again, owner);
        auto whole = record;
        whole.clear_checksum();
        require(other.store(whole));
        require(other.load().SerializeAsString() == whole.SerializeAsString());
    }
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t mostBytes, unsigned seed) {
    CaptureFiles input;
    return tarn::fuzz::mutateBytes(input, data, size, mostBytes, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const PrivateFolder folder;
    tarn::fuzz::logIntoNothing();
    CaptureFiles input;
    input.ParsePartialFromArray(data, static_cast<int>(size));
    const auto format =
        folder.write("format", input.format().SerializePartialAsString() + input.raw_format());
    folder.write("format.record", input.record().SerializePartialAsString() + input.raw_record());
    readFormat(format, folder.pathOf("again"));
    readRecord(input.record(), format, folder.pathOf("again"));
    LaunchedIngest launched(folder.write("launch", input.launch()), owner);
    launched.showedItself({42, 1}, LaunchedIngest::Time());
    return 0;
}
