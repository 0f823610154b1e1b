#include "platform/dictionary/ComponentsDictionary.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "platform/dictionary/ComponentsParser.h"
#include "proto/dictionary.pb.h"

namespace tarn::dictionary {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t maxBytes = 1U << 20U;

// The kind first: opening a pipe would wait for its writer.
std::string readFile(const std::string& path) {
    std::error_code problem;
    const auto status = fs::status(path, problem);
    if (!fs::is_regular_file(status)) {
        throw std::runtime_error(problem ? problem.message() : "not a file");
    }
    std::ifstream file(path, std::ios::binary);
    std::string content(maxBytes + 1, '\0');
    file.read(content.data(), static_cast<std::streamsize>(content.size()));
    if (!file.is_open() || file.bad()) {
        throw std::runtime_error("cannot be opened or read");
    }
    content.resize(static_cast<std::size_t>(file.gcount()));
    if (content.size() > maxBytes) {
        throw std::runtime_error("larger than 1 MiB");
    }
    return content;
}

}  // namespace

ComponentsDictionary::ComponentsDictionary(std::string path) : path(std::move(path)) {}

bool ComponentsDictionary::initFromLocalDictionary(std::string& error) {
    error.clear();
    loaded.clear();
    try {
        loaded = parseComponents(readFile(path));
        return true;
    } catch (const std::exception& e) {
        error = "Failed reading components dictionary " + path + ": " + e.what();
        return false;
    }
}

tarn::proto::dictionary::ComponentsDictionary ComponentsDictionary::toProtoBuf() const {
    tarn::proto::dictionary::ComponentsDictionary message;
    for (const auto& component : loaded) {
        auto* const added = message.add_components();
        added->set_name(component.name);
        added->set_version(component.version);
        added->set_kind(component.kind);
        added->set_description(component.description);
    }
    return message;
}

}  // namespace tarn::dictionary
