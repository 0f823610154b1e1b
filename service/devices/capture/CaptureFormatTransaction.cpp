#include "service/devices/capture/CaptureFormatTransaction.h"

#include <memory>
#include <utility>

#include "platform/utils/Log.h"
#include "platform/utils/MessageFormatter.h"
#include "proto/capture_format_record.pb.h"
#include "proto/deltacast_configuration.pb.h"
#include "service/devices/capture/DeltacastConfigurationFile.h"
#include "service/devices/capture/DeltacastFormat.h"

namespace tarn::service::devices {

using Slot = DeltacastConfigurationSlot;

namespace {

bool areSame(const CaptureFormatTransaction::DeltacastConfig& a,
             const CaptureFormatTransaction::DeltacastConfig& b) {
    return toFormat(a) == toFormat(b);
}

}  // namespace

CaptureFormatTransaction::CaptureFormatTransaction(const std::string& formatFile,
                                                   const utils::IMessageFormatter& formatter)
    : file(formatFile, formatter),
      formatter(formatter),
      record(std::make_unique<CaptureFormatRecordFile::Record>(file.load())) {
    if (auto format = DeltacastConfigurationFile(formatFile, formatter).peek()) {
        lastLaunched = std::make_unique<DeltacastConfig>(std::move(*format));
    }
    if (record->has_wanted()) {
        interrupted = std::make_unique<DeltacastConfig>(record->wanted());
    }
    tellWhatWasLeft();
}

CaptureFormatTransaction::~CaptureFormatTransaction() = default;

void CaptureFormatTransaction::tellWhatWasLeft() const {
    switch (state()) {
        case State::Settled:
            return;
        case State::Wanted:
            return log("Capture format " + nameOf(toFormat(record->wanted())) +
                       " was ordered before this service ended last, and not launched");
        case State::Unconfirmed:
            return log("Capture format " + nameOf(toFormat(*lastLaunched)) +
                       " was launched last, and has not been seen running yet");
    }
}

void CaptureFormatTransaction::log(const std::string& text) const {
    utils::logInfo(formatter.formatMessage(text));
}

CaptureFormatTransaction::State CaptureFormatTransaction::state() const {
    if (record->has_wanted()) {
        return State::Wanted;
    }
    return lastLaunched && !isConfirmed(*lastLaunched) ? State::Unconfirmed : State::Settled;
}

std::unique_ptr<CaptureFormatTransaction::DeltacastConfig>
CaptureFormatTransaction::takeInterrupted() {
    return std::exchange(interrupted, nullptr);
}

void CaptureFormatTransaction::ordered(const DeltacastConfig& format) {
    interrupted.reset();
    *record->mutable_wanted() = format;
    store();
}

void CaptureFormatTransaction::launched(const DeltacastConfig& format, Kept kept) {
    lastLaunched = std::make_unique<DeltacastConfig>(format);
    if (kept == Kept::Yes) {
        record->clear_wanted();
        store();
    }
}

void CaptureFormatTransaction::seen(const DeltacastConfig& format) {
    if (!lastLaunched || isConfirmed(*lastLaunched) || !areSame(format, *lastLaunched)) {
        return;
    }
    log("Capture format " + nameOf(toFormat(format)) + " is confirmed: it runs");
    *record->mutable_confirmed() = *lastLaunched;
    store();
}

bool CaptureFormatTransaction::isConfirmed(const DeltacastConfig& format) const {
    return record->has_confirmed() && areSame(record->confirmed(), format);
}

// It is confirmed in memory also when that cannot be written.
void CaptureFormatTransaction::store() {
    file.store(*record);
}

CaptureFormatTransaction::Wish CaptureFormatTransaction::insteadOf(const Wish& failed) const {
    if (!failed.configuration) {
        return {};
    }
    const bool isFallback = failed.origin == Slot::Origin::Fallback;
    const bool isKnownToRun = isConfirmed(*failed.configuration);
    if (isKnownToRun && !isFallback) {
        return {};
    }
    if (isFallback || !record->has_confirmed()) {
        return {Slot::Wish::Defaults, Slot::Origin::Fallback, nullptr};
    }
    return {Slot::Wish::Configuration, Slot::Origin::Fallback,
            std::make_unique<DeltacastConfig>(record->confirmed())};
}

std::string givingWay(const CaptureFormatTransaction::Wish& failed,
                      const CaptureFormatTransaction::Wish& instead) {
    const bool isFirst = failed.origin != Slot::Origin::Fallback;
    return "Capture format " + nameOf(toFormat(*failed.configuration)) +
           (isFirst ? " did not come up, and has never been seen running: it gives way to "
                    : " did not come up either: it gives way to ") +
           (instead.configuration
                ? "the last one that has, " + nameOf(toFormat(*instead.configuration))
                : "the default one");
}

}  // namespace tarn::service::devices
