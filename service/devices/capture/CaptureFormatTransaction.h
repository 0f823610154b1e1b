#pragma once

#include <memory>
#include <string>

#include "service/devices/capture/CaptureFormatRecordFile.h"
#include "service/devices/capture/DeltacastConfigurationSlot.h"

namespace tarn::service::devices {

/// A capture format from the order to the proof that it works.
///
///     Settled --ordered--> Wanted --launched and kept--> Unconfirmed --seen running--> Settled
///                            |                               |
///           this service stops or is killed:       does not come up in its time:
///           it is Wanted for the next one          the last confirmed format is ordered, and when
///                                                  that does not come up either, the default one
///
/// What a state needs is on the disk before the state is entered: the format file has what was
/// launched last, the record beside it what is wanted and what was confirmed last. Without a path
/// all of it is forgotten at the end. One thread at a time.
class CaptureFormatTransaction {
  public:
    using DeltacastConfig = tarn::proto::deltacast_configuration::DeltacastConfig;
    using Wish = DeltacastConfigurationSlot::Taken;

    enum class State { Settled, Wanted, Unconfirmed };

    /// Reads what the service before this one left, and logs it. The formatter outlives this.
    CaptureFormatTransaction(const std::string& formatFile,
                             const utils::IMessageFormatter& formatter);
    ~CaptureFormatTransaction();

    State state() const;

    /// The format that the service before this one was ordered and did not launch; once, and not
    /// any more when another one was ordered.
    std::unique_ptr<DeltacastConfig> takeInterrupted();

    /// It is about to be applied: what captures now is told to stop after this.
    void ordered(const DeltacastConfig& format);

    /// It was launched; one that could not be kept in the file stays wanted.
    enum class Kept { No, Yes };
    void launched(const DeltacastConfig& format, Kept kept);

    /// The ingest service says that it captures this.
    void seen(const DeltacastConfig& format);

    /// What is to be launched in the place of a format that did not come up in its time: nothing in
    /// that of the default one, and of one that has been seen running.
    Wish insteadOf(const Wish& failed) const;

  private:
    void tellWhatWasLeft() const;
    void log(const std::string& text) const;
    bool isConfirmed(const DeltacastConfig& format) const;
    void store();

    const CaptureFormatRecordFile file;
    const utils::IMessageFormatter& formatter;
    const std::unique_ptr<CaptureFormatRecordFile::Record> record;
    std::unique_ptr<DeltacastConfig> lastLaunched;
    std::unique_ptr<DeltacastConfig> interrupted;
};

/// Why another format is launched now: a line for the log.
std::string givingWay(const CaptureFormatTransaction::Wish& failed,
                      const CaptureFormatTransaction::Wish& instead);

}  // namespace tarn::service::devices
