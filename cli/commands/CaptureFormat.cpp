#include "cli/commands/CaptureFormat.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>

#include "proto/deltacast_configuration.pb.h"

namespace tarn::cli {

namespace {

std::string wordOf(const CaptureWords& words, int value) {
    const auto found = std::find_if(words.begin(), words.end(),
                                    [&](const auto& word) { return word.second == value; });
    return found == words.end() ? "?" : found->first;
}

// What is no number stays a word.
nlohmann::ordered_json numberOf(const std::string& word) {
    return word == "?" ? nlohmann::ordered_json(word) : nlohmann::ordered_json(std::stoul(word));
}

template <typename T>
T parse(std::string_view text, const std::string& whole) {
    T number{};
    const auto* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end) {
        throw std::invalid_argument("\"" + whole + "\" is no CHANNEL or CHANNEL:OFFSET");
    }
    return number;
}

}  // namespace

const CaptureWords& pixelFormatWords() {
    static const CaptureWords words = {{"uyvy422_8", CaptureConfig::UYVY422_8},
                                       {"rgb24", CaptureConfig::RGB24}};
    return words;
}

const CaptureWords& lineCountWords() {
    static const CaptureWords words = {{"488", CaptureConfig::LINES_488},
                                       {"576", CaptureConfig::LINES_576},
                                       {"720", CaptureConfig::LINES_720},
                                       {"1080", CaptureConfig::LINES_1080}};
    return words;
}

const CaptureWords& fieldModeWords() {
    static const CaptureWords words = {{"i", CaptureConfig::INTERLACED},
                                       {"p", CaptureConfig::PROGRESSIVE},
                                       {"psf", CaptureConfig::SEGMENTED}};
    return words;
}

const CaptureWords& frameRateWords() {
    static const CaptureWords words = {
        {"23976", CaptureConfig::RATE_23976}, {"24", CaptureConfig::RATE_24},
        {"25", CaptureConfig::RATE_25},       {"2997", CaptureConfig::RATE_2997},
        {"30", CaptureConfig::RATE_30},       {"50", CaptureConfig::RATE_50},
        {"5994", CaptureConfig::RATE_5994},   {"60", CaptureConfig::RATE_60}};
    return words;
}

std::string linesAndRate(const CaptureConfig& config) {
    return wordOf(lineCountWords(), config.line_count()) +
           wordOf(fieldModeWords(), config.field_mode()) +
           wordOf(frameRateWords(), config.frame_rate());
}

std::string pixelFormatOf(const CaptureConfig& config) {
    return wordOf(pixelFormatWords(), config.pixel_format());
}

std::string inputsOf(const CaptureConfig& config) {
    std::string text;
    for (const auto& input : config.inputs()) {
        text += (text.empty() ? "" : ", ") + std::to_string(input.channel());
        if (input.frame_offset() != 0) {
            text += ":" + std::to_string(input.frame_offset());
        }
    }
    return text.empty() ? "none" : text;
}

nlohmann::ordered_json documentOf(const CaptureConfig& config) {
    nlohmann::ordered_json inputs = nlohmann::ordered_json::array();
    for (const auto& input : config.inputs()) {
        inputs.push_back({{"channel", input.channel()}, {"frame_offset", input.frame_offset()}});
    }
    return {{"pixel_format", pixelFormatOf(config)},
            {"line_count", numberOf(wordOf(lineCountWords(), config.line_count()))},
            {"field_mode", wordOf(fieldModeWords(), config.field_mode())},
            {"frame_rate", numberOf(wordOf(frameRateWords(), config.frame_rate()))},
            {"inputs", std::move(inputs)}};
}

void addInput(CaptureConfig& config, const std::string& text) {
    const auto colon = text.find(':');
    const std::string_view view(text);
    const auto channel = parse<std::uint32_t>(view.substr(0, colon), text);
    const auto offset =
        colon == std::string::npos ? 0 : parse<std::int32_t>(view.substr(colon + 1), text);
    auto& input = *config.add_inputs();
    input.set_channel(channel);
    input.set_frame_offset(offset);
}

}  // namespace tarn::cli
