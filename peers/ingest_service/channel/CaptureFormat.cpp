#include "peers/ingest_service/channel/CaptureFormat.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <vector>

#include "platform/utils/Printable.h"

namespace tarn::peers::ingest_service {

namespace {

struct PixelFormat {
    const char* name;
    const char* mediaName;
    unsigned bytesPerPixel;
};

struct Standard {
    unsigned lineCount;
    const char* fieldMode;
    unsigned width;
    std::vector<unsigned> rates;
};

struct Rate {
    unsigned name;
    unsigned frames;
    unsigned seconds;  // in which so many frames come
};

constexpr std::array<Rate, 8> rates = {
    Rate{23976, 24000, 1001}, Rate{24, 24, 1}, Rate{25, 25, 1},         Rate{2997, 30000, 1001},
    Rate{30, 30, 1},          Rate{50, 50, 1}, Rate{5994, 60000, 1001}, Rate{60, 60, 1},
};

constexpr std::array<PixelFormat, 2> pixelFormats = {
    PixelFormat{"uyvy422_8", "UYVY", 2},
    PixelFormat{"rgb24", "RGB", 3},
};

// Rates are those of frames, of which an interlaced one has two fields.
const std::vector<Standard>& standards() {
    static const std::vector<Standard> all = {
        {488, "i", 720, {2997}},
        {576, "i", 720, {25}},
        {720, "p", 1280, {23976, 24, 25, 2997, 30, 50, 5994, 60}},
        {1080, "i", 1920, {25, 2997, 30}},
        {1080, "psf", 1920, {23976, 24, 25, 2997, 30}},
        {1080, "p", 1920, {23976, 24, 25, 2997, 30, 50, 5994, 60}},
    };
    return all;
}

const PixelFormat* findPixelFormat(const std::string& name) {
    const auto found = std::find_if(pixelFormats.begin(), pixelFormats.end(),
                                    [&](const PixelFormat& known) { return name == known.name; });
    return found == pixelFormats.end() ? nullptr : &*found;
}

const Standard* findStandard(const CaptureFormat& format) {
    const auto found =
        std::find_if(standards().begin(), standards().end(), [&](const Standard& known) {
            return known.lineCount == format.lineCount && known.fieldMode == format.fieldMode &&
                   std::count(known.rates.begin(), known.rates.end(), format.frameRate) == 1;
        });
    return found == standards().end() ? nullptr : &*found;
}

const Rate& rateOf(unsigned name) {
    return *std::find_if(rates.begin(), rates.end(),
                         [&](const Rate& known) { return known.name == name; });
}

std::string capsOf(const Standard& standard, const std::string& mediaName, unsigned frames,
                   unsigned seconds, const std::string& scan) {
    return "video/x-raw,format=" + mediaName + ",width=" + std::to_string(standard.width) +
           ",height=" + std::to_string(standard.lineCount) +
           ",framerate=" + std::to_string(frames) + "/" + std::to_string(seconds) +
           ",interlace-mode=" + scan;
}

const Standard& standardOf(const CaptureFormat& format) {
    const auto* const standard = findStandard(format);
    if (standard == nullptr) {
        throw std::invalid_argument(problemOf(format));
    }
    return *standard;
}

std::string linesAndRate(const CaptureFormat& format) {
    return std::to_string(format.lineCount) + utils::printable(format.fieldMode) +
           std::to_string(format.frameRate);
}

}  // namespace

std::string problemOf(const CaptureFormat& format) {
    if (findPixelFormat(format.pixelFormat) == nullptr) {
        return "there is no pixel format " + utils::quotedText(format.pixelFormat) +
               ": only uyvy422_8 and rgb24";
    }
    if (findStandard(format) == nullptr) {
        return "there is no capture format " + linesAndRate(format);
    }
    return {};
}

std::string nameOf(const CaptureFormat& format) {
    return linesAndRate(format) + " " + utils::printable(format.pixelFormat);
}

std::string capsOf(const CaptureFormat& format) {
    const auto& standard = standardOf(format);
    const auto& rate = rateOf(format.frameRate);
    return capsOf(standard, findPixelFormat(format.pixelFormat)->mediaName, rate.frames,
                  rate.seconds, format.fieldMode == "i" ? "interleaved" : "progressive");
}

std::string fieldCapsOf(const CaptureFormat& format) {
    const auto& standard = standardOf(format);
    const auto& rate = rateOf(format.frameRate);
    return capsOf(standard, "UYVY", 2 * rate.frames, rate.seconds, "progressive");
}

unsigned bytesPerFrame(const CaptureFormat& format) {
    return standardOf(format).width * format.lineCount *
           findPixelFormat(format.pixelFormat)->bytesPerPixel;
}

std::chrono::nanoseconds frameTimeOf(const CaptureFormat& format) {
    standardOf(format);  // throws for one that does not exist
    const auto& rate = rateOf(format.frameRate);
    return std::chrono::nanoseconds(std::chrono::seconds(rate.seconds)) / rate.frames;
}

}  // namespace tarn::peers::ingest_service
