#include "service/devices/capture/DeltacastFormat.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "platform/device_tree/DeviceNode.h"
#include "proto/deltacast_configuration.pb.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;
using tarn::proto::deltacast_configuration::DeltacastConfig;

namespace {

// In the order of the message's values, the first of which is 1.
constexpr std::array<std::string_view, 2> pixelFormats = {"uyvy422_8", "rgb24"};
constexpr std::array<std::uint32_t, 4> lineCounts = {488, 576, 720, 1080};
constexpr std::array<std::string_view, 3> fieldModes = {"i", "p", "psf"};
constexpr std::array<std::uint32_t, 8> frameRates = {23976, 24, 25, 2997, 30, 50, 5994, 60};

template <typename T, std::size_t size>
T textOf(const std::array<T, size>& texts, int value, T otherwise) {
    const auto index = static_cast<std::size_t>(value) - 1;
    return index < size ? texts[index] : otherwise;
}

template <typename T>
bool parse(std::string_view text, T& number) {
    const auto* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    return result.ec == std::errc() && result.ptr == end;
}

bool matches(std::string_view text, std::string_view allowed) {
    return text == allowed;
}

bool matches(std::string_view text, std::uint32_t allowed) {
    std::uint32_t number = 0;
    return parse(text, number) && number == allowed;
}

const std::string& valueOf(const DeviceNode& service, const std::string& property) {
    const auto* const found = service.getProperty(property);
    if (found == nullptr) {
        throw std::invalid_argument("Could not find property " + property);
    }
    return found->value;
}

template <typename T, std::size_t size>
int interpret(const DeviceNode& service, const std::string& property,
              const std::array<T, size>& allowed) {
    const auto& value = valueOf(service, property);
    for (std::size_t i = 0; i < size; ++i) {
        if (matches(value, allowed[i])) {
            return static_cast<int>(i) + 1;
        }
    }
    throw std::invalid_argument("Could not interpret \"" + property +
                                "\" property value: " + value);
}

template <typename T>
std::vector<T> numbersOf(const std::string& list) {
    constexpr auto separators = " ,;\t";
    std::vector<T> numbers;
    std::size_t end = 0;
    for (auto begin = list.find_first_not_of(separators); begin != std::string::npos;
         begin = list.find_first_not_of(separators, end)) {
        end = std::min(list.find_first_of(separators, begin), list.size());
        T number{};
        if (!parse(std::string_view(list).substr(begin, end - begin), number)) {
            throw std::invalid_argument("Invalid property");
        }
        numbers.push_back(number);
    }
    return numbers;
}

// A channel without an offset has none; an offset without a channel makes no sense.
void readInputs(const DeviceNode& service, DeltacastConfig& configuration) {
    const auto channels = numbersOf<std::uint32_t>(valueOf(service, "ChannelList"));
    auto offsets = numbersOf<std::int32_t>(valueOf(service, "ChannelFrameOffset"));
    if (offsets.size() > channels.size()) {
        throw std::invalid_argument("Invalid property");
    }
    offsets.resize(channels.size(), 0);
    for (std::size_t i = 0; i < channels.size(); ++i) {
        auto& input = *configuration.add_inputs();
        input.set_channel(channels[i]);
        input.set_frame_offset(offsets[i]);
    }
}

DeltacastConfig readConfig(const DeviceNode& service) {
    DeltacastConfig configuration;
    configuration.set_pixel_format(
        static_cast<DeltacastConfig::PixelFormat>(interpret(service, "PixelFormat", pixelFormats)));
    configuration.set_line_count(
        static_cast<DeltacastConfig::LineCount>(interpret(service, "LineCount", lineCounts)));
    configuration.set_field_mode(
        static_cast<DeltacastConfig::FieldMode>(interpret(service, "FieldMode", fieldModes)));
    configuration.set_frame_rate(
        static_cast<DeltacastConfig::FrameRate>(interpret(service, "FrameRate", frameRates)));
    readInputs(service, configuration);
    return configuration;
}

}  // namespace

DeltacastFormat toFormat(const DeltacastConfig& configuration) {
    DeltacastFormat format;
    format.pixelFormat = textOf(pixelFormats, configuration.pixel_format(), pixelFormats.front());
    format.lineCount = textOf(lineCounts, configuration.line_count(), lineCounts.back());
    format.fieldMode = textOf(fieldModes, configuration.field_mode(), fieldModes.front());
    format.frameRate = textOf(frameRates, configuration.frame_rate(), frameRates.back());
    for (const auto& input : configuration.inputs()) {
        format.inputList += std::to_string(input.channel()) + " ";
        format.frameOffsetList += std::to_string(input.frame_offset()) + " ";
    }
    return format;
}

std::string nameOf(const DeltacastFormat& format) {
    const auto listOf = [](const std::string& list) {
        return list.empty() ? std::string("none") : list.substr(0, list.find_last_not_of(' ') + 1);
    };
    return std::to_string(format.lineCount) + format.fieldMode + std::to_string(format.frameRate) +
           " " + format.pixelFormat + ", inputs " + listOf(format.inputList) + ", frame offsets " +
           listOf(format.frameOffsetList);
}

bool readDeltacastConfig(const DeviceNode& service, DeltacastConfig& configuration,
                         std::string& error) {
    configuration.Clear();
    error.clear();
    try {
        configuration = readConfig(service);
    } catch (const std::invalid_argument& e) {
        error = e.what();
    }
    return error.empty();
}

}  // namespace tarn::service::devices
