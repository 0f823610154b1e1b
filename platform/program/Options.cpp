#include "platform/program/Options.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <sstream>
#include <stdexcept>

#include "platform/program/ByteSize.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::program {

using socket::SocketEndpoint;

namespace {

// As short as people write it: 10, 0.05.
std::string plainNumber(double number) {
    std::ostringstream text;
    text << number;
    return text.str();
}

std::string checkEndpoint(const std::string& text) {
    try {
        const auto endpoint = SocketEndpoint::FromString(text);
        return endpoint.transport() == socket::Transport::InProcess
                   ? "an endpoint that other processes can reach is expected"
                   : "";
    } catch (const std::invalid_argument& reason) {
        return reason.what();
    }
}

// Not the library's own check of a range, which lets "nan" pass.
std::string checkSeconds(const std::string& text, SecondsRange range) {
    double seconds = 0;
    const bool isNumber = CLI::detail::lexical_cast(text, seconds);
    return isNumber && seconds >= range.least && seconds <= range.most
               ? ""
               : "a number of seconds from " + plainNumber(range.least) + " to " +
                     plainNumber(range.most) + " is expected";
}

std::string checkSize(const std::string& text, SizeRange range) {
    const auto size = parseByteSize(text);
    if (!size) {
        return "a size is expected, such as 10G, 1.5TiB or 4096";
    }
    return *size >= range.least && *size <= range.most
               ? ""
               : "a size from " + std::to_string(range.least) + " to " +
                     std::to_string(range.most) + " bytes is expected";
}

std::chrono::milliseconds toMilliseconds(const std::string& seconds) {
    return std::chrono::milliseconds(std::llround(std::stod(seconds) * 1000));
}

template <typename Endpoint>
CLI::Option* addEndpointOption(CLI::App& app, const std::string& name, Endpoint& value,
                               const std::string& description) {
    return app
        .add_option_function<std::string>(
            name, [&value](const std::string& text) { value = SocketEndpoint::FromString(text); },
            description)
        ->check(checkEndpoint);
}

}  // namespace

CLI::Option* addEndpoint(CLI::App& app, const std::string& name, SocketEndpoint& value,
                         const std::string& description) {
    return addEndpointOption(app, name, value, description)
        ->default_str(value.toString(socket::Protocol::None));
}

CLI::Option* addEndpoint(CLI::App& app, const std::string& name,
                         std::optional<SocketEndpoint>& value, const std::string& description) {
    auto* const option = addEndpointOption(app, name, value, description);
    return value ? option->default_str(value->toString(socket::Protocol::None)) : option;
}

CLI::Option* addSeconds(CLI::App& app, const std::string& name, std::chrono::milliseconds& value,
                        SecondsRange range, const std::string& description) {
    const std::chrono::duration<double> seconds = value;
    return app
        .add_option_function<std::string>(
            name, [&value](const std::string& text) { value = toMilliseconds(text); }, description)
        ->type_name("FLOAT")
        ->default_str(plainNumber(seconds.count()))
        ->check([range](const std::string& text) { return checkSeconds(text, range); });
}

CLI::Option* addSize(CLI::App& app, const std::string& name, std::uint64_t& value, SizeRange range,
                     const std::string& description) {
    return app
        .add_option_function<std::string>(
            name, [&value](const std::string& text) { value = *parseByteSize(text); },
            description + ": K, M, G, T are powers of 1024; KB, MB, GB, TB of 1000")
        ->check([range](const std::string& text) { return checkSize(text, range); });
}

}  // namespace tarn::program
