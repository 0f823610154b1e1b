#pragma once

#include <string>

#include "proto/capture_format_record.fwd.h"

namespace tarn::utils {
class IMessageFormatter;
}

namespace tarn::service::devices {

/// The record beside the file of the capture format (proto/capture_format_record.proto), which
/// tells whether that format has ever been seen running. What goes wrong is logged. One thread at a
/// time.
class CaptureFormatRecordFile {
  public:
    using Record = tarn::proto::capture_format_record::CaptureFormatRecord;

    /// Of the format file at this path; an empty path stands for no file. The formatter outlives
    /// this.
    CaptureFormatRecordFile(const std::string& formatFile,
                            const utils::IMessageFormatter& formatter);

    /// An empty record when there is none, or it is damaged.
    Record load() const;

    /// A crash leaves the old record, the new one, or one that is seen to be damaged.
    bool store(const Record& record) const;

    static std::string pathBeside(const std::string& formatFile);

  private:
    const std::string path;
    const utils::IMessageFormatter& formatter;
};

}  // namespace tarn::service::devices
