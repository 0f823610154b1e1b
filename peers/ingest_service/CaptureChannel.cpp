#include "peers/ingest_service/CaptureChannel.h"

#include <gst/gst.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <utility>

#include "peers/pipeline_process/BusText.h"
#include "peers/pipeline_process/PipelineParser.h"
#include "platform/socket/IpcPathClaim.h"
#include "platform/utils/Log.h"

namespace tarn::peers::ingest_service {

namespace {

constexpr unsigned framesInMemory = 8;
constexpr std::chrono::seconds beforeNextTry{1};
constexpr GstClockTime startBound = 5 * GST_SECOND;

std::string sourceText(CaptureChannel::Signal source, const std::string& caps) {
    if (source == CaptureChannel::Signal::Device) {
        return "v4l2src name=device ! videoconvert ! videoscale ! videorate";
    }
    return "videotestsrc num-buffers=1 pattern=smpte ! " + caps +
           " ! imagefreeze is-live=true ! timecodestamper source=rtc"
           " ! timeoverlay time-mode=time-code valignment=bottom halignment=center"
           " font-desc=\"Monospace, 28\"";
}

std::string delayText(unsigned frames) {
    if (frames == 0) {
        return "";
    }
    return " ! queue max-size-bytes=0 max-size-time=0 min-threshold-buffers=" +
           std::to_string(frames) + " max-size-buffers=" + std::to_string(frames + 4);
}

// Paths are set as properties: they are text from outside.
std::string pipelineText(CaptureChannel::Signal source, const CaptureChannel::Settings& settings) {
    const auto caps = capsOf(settings.format);
    return sourceText(source, caps) + delayText(settings.delay) + " ! " + caps +
           " ! queue leaky=downstream max-size-bytes=0 max-size-time=0 max-size-buffers=2" +
           " ! shmsink name=sink sync=false wait-for-connection=false shm-size=" +
           std::to_string(framesInMemory * bytesPerFrame(settings.format));
}

GstElementPtr elementOf(GstElement& pipeline, const char* name) {
    return GstElementPtr(gst_bin_get_by_name(GST_BIN(&pipeline), name));
}

GstPadProbeReturn countFrame(GstPad*, GstPadProbeInfo* info, gpointer counter) {
    const auto* const frame = GST_PAD_PROBE_INFO_BUFFER(info);
    std::optional<FrameCounter::Time> time;
    if (GST_BUFFER_PTS_IS_VALID(frame)) {
        time = FrameCounter::Time(static_cast<std::int64_t>(GST_BUFFER_PTS(frame)));
    }
    const auto duration = GST_BUFFER_DURATION_IS_VALID(frame)
                              ? static_cast<std::int64_t>(GST_BUFFER_DURATION(frame))
                              : 0;
    static_cast<FrameCounter*>(counter)->add(time, FrameCounter::Time(duration));
    return GST_PAD_PROBE_OK;
}

void countFrames(GstElement& sink, FrameCounter& counter) {
    const std::unique_ptr<GstPad, ReleaseWith<gst_object_unref>> pad(
        gst_element_get_static_pad(&sink, "sink"));
    gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_BUFFER, countFrame, &counter, nullptr);
}

// Empty when there is none.
std::string nextError(GstElement& pipeline) {
    const GstBusPtr bus(gst_element_get_bus(&pipeline));
    const GstMessagePtr message(gst_bus_pop_filtered(
        bus.get(), static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_EOS)));
    if (!message) {
        return {};
    }
    return GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_EOS ? "the stream has ended"
                                                              : textOf(*message).message;
}

// The element takes another path when there is a file in its way.
void removeStaleSocket(const std::string& path) {
    const tarn::socket::IpcPathClaim claim(path);  // throws when somebody listens
    ::unlink(path.c_str());
}

}  // namespace

CaptureChannel::CaptureChannel(Settings given) : settings(std::move(given)) {
    start();
}

CaptureChannel::~CaptureChannel() {
    stop();
}

void CaptureChannel::start() {
    std::string error;
    const bool hasDevice = !settings.device.empty() && std::filesystem::exists(settings.device);
    if (hasDevice && startFrom(Signal::Device, error)) {
        return;
    }
    if (hasDevice) {
        utils::logWarning(settings.device + " cannot be captured from: " + error);
    }
    if (!startFrom(Signal::TestPicture, error)) {
        throw std::runtime_error(error);
    }
}

bool CaptureChannel::startFrom(Signal source, std::string& error) {
    build(source);
    const bool started =
        gst_element_set_state(pipeline.get(), GST_STATE_PLAYING) != GST_STATE_CHANGE_FAILURE &&
        gst_element_get_state(pipeline.get(), nullptr, nullptr, startBound) !=
            GST_STATE_CHANGE_FAILURE;
    if (!started) {
        error = nextError(*pipeline);
        stop();
        return false;
    }
    state = source;
    return true;
}

void CaptureChannel::build(Signal source) {
    std::string error;
    pipeline = parsePipeline(pipelineText(source, settings), error);
    if (!pipeline) {
        throw std::runtime_error("a picture cannot be made: " + error);
    }
    removeStaleSocket(settings.socketPath);
    const auto sink = elementOf(*pipeline, "sink");
    g_object_set(sink.get(), "socket-path", settings.socketPath.c_str(), nullptr);
    if (const auto device = elementOf(*pipeline, "device")) {
        g_object_set(device.get(), "device", settings.device.c_str(), nullptr);
    }
    counter.interrupt();
    countFrames(*sink, counter);
}

void CaptureChannel::stop() {
    if (pipeline) {
        gst_element_set_state(pipeline.get(), GST_STATE_NULL);
        pipeline.reset();
    }
    state = Signal::Lost;
}

void CaptureChannel::watch(Time now) {
    try {
        if (pipeline) {
            if (const auto error = nextError(*pipeline); !error.empty()) {
                lose(error, now);
            }
        } else if (now - lostAt >= beforeNextTry) {
            start();
        }
    } catch (const std::runtime_error& e) {
        lose(e.what(), now);
    }
}

void CaptureChannel::lose(const std::string& reason, Time now) {
    utils::logWarning("The signal of " + settings.socketPath + " is lost: " + reason);
    stop();
    lostAt = now;
}

}  // namespace tarn::peers::ingest_service
