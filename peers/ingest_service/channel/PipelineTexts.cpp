#include "peers/ingest_service/channel/PipelineTexts.h"

namespace tarn::peers::ingest_service {

namespace {

constexpr unsigned framesInMemory = 8;
constexpr auto end = " ! fakesink name=end async=false sync=false";

// After a longer silence the missing frames are missing, not repeated.
constexpr auto rateText = "videorate max-duplication-time=500000000";

std::string delayText(unsigned frames) {
    if (frames == 0) {
        return "";
    }
    return " ! queue max-size-bytes=0 max-size-time=0 min-threshold-buffers=" +
           std::to_string(frames) + " max-size-buffers=" + std::to_string(frames + 4);
}

// The interlacer knows no rgb. Of 525 lines the lower field comes first.
std::string interlacingText(const CaptureFormat& format) {
    const bool isOf525 = format.lineCount == 488;
    return std::string("videoconvert ! videoscale ! ") + rateText + " ! " + fieldCapsOf(format) +
           " ! interlace field-pattern=1:1 top-field-first=" + (isOf525 ? "false" : "true") +
           " ! videoconvert";
}

std::string still(const std::string& picture, const std::string& caps) {
    return picture + " ! " + caps + " ! imagefreeze is-live=true";
}

std::string pictureText(Substitute picture, const std::string& caps) {
    switch (picture) {
        case Substitute::Black:
            return still("videotestsrc num-buffers=1 pattern=black", caps);
        case Substitute::Freeze:
            return "appsrc name=frozen format=time caps=\"" + caps +
                   "\" ! imagefreeze is-live=true";
        case Substitute::Bars:
        case Substitute::Nothing:
            break;
    }
    return still("videotestsrc num-buffers=1 pattern=smpte", caps) +
           " ! timecodestamper source=rtc"
           " ! timeoverlay time-mode=time-code valignment=bottom halignment=center"
           " font-desc=\"Monospace, 28\"";
}

}  // namespace

std::string conversionText(const CaptureFormat& format, Scan device) {
    std::string text = std::string("videoconvert ! deinterlace ! videoscale ! ") + rateText;
    if (format.fieldMode == "i") {
        text = device == Scan::Interlaced ? std::string("videoconvert ! videoscale ! ") + rateText
                                          : interlacingText(format);
    }
    return text + " ! " + capsOf(format) + end;
}

std::string substituteText(const CaptureFormat& format, Substitute picture) {
    const auto caps = capsOf(format);
    return pictureText(picture, caps) + " ! " + caps + end;
}

std::string outputText(const CaptureFormat& format, unsigned delay) {
    return "appsrc name=frames format=time is-live=true max-buffers=8 leaky-type=downstream "
           "caps=\"" +
           capsOf(format) + "\"" + delayText(delay) +
           " ! queue leaky=downstream max-size-bytes=0 max-size-time=0 max-size-buffers=2" +
           " ! shmsink name=sink sync=false async=false wait-for-connection=false shm-size=" +
           std::to_string(framesInMemory * bytesPerFrame(format));
}

}  // namespace tarn::peers::ingest_service
