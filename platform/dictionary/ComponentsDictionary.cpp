#include "platform/dictionary/ComponentsDictionary.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <rapidxml/rapidxml.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/utils/XmlNesting.h"
#include "proto/dictionary.pb.h"

namespace tarn::dictionary {

namespace fs = std::filesystem;

namespace {

using Node = rapidxml::xml_node<char>;

constexpr auto rootName = "ComponentsDictionary";
constexpr auto componentName = "Component";
constexpr unsigned deepestNesting = 50;  // the parser calls itself for each level
constexpr int parserFlags = rapidxml::parse_normalize_whitespace | rapidxml::parse_trim_whitespace;

std::runtime_error errorAt(const std::string& text, std::size_t offset, const std::string& reason) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(offset);
    return std::runtime_error(reason + " in line " +
                              std::to_string(1 + std::count(text.begin(), end, '\n')));
}

void refuseUnparsable(const std::string& text) {
    if (const auto zero = text.find('\0'); zero != std::string::npos) {
        throw errorAt(text, zero, "zero byte");
    }
    if (const auto offset = tarn::utils::findNestingBeyond(text.c_str(), deepestNesting)) {
        throw errorAt(text, *offset,
                      "more than " + std::to_string(deepestNesting) + " nested elements");
    }
}

std::string attribute(const Node& node, const char* name) {
    const auto* const found = node.first_attribute(name);
    return found == nullptr ? std::string() : std::string(found->value(), found->value_size());
}

std::string textOf(const Node& node) {
    std::string text;
    for (const auto* part = node.first_node(); part != nullptr; part = part->next_sibling()) {
        if (part->type() == rapidxml::node_data || part->type() == rapidxml::node_cdata) {
            text.append(part->value(), part->value_size());
        }
    }
    return text;
}

Component componentFrom(const Node& node) {
    return {attribute(node, "name"), attribute(node, "version"), attribute(node, "kind"),
            textOf(node)};
}

std::vector<Component> componentsIn(const Node& root) {
    std::vector<Component> components;
    std::set<std::string> names;
    for (const auto* node = root.first_node(componentName); node != nullptr;
         node = node->next_sibling(componentName)) {
        auto component = componentFrom(*node);
        if (component.name.empty()) {
            throw std::runtime_error("component " + std::to_string(components.size() + 1) +
                                     " has no name");
        }
        if (!names.insert(component.name).second) {
            throw std::runtime_error("component \"" + component.name + "\" stands there twice");
        }
        components.push_back(std::move(component));
    }
    return components;
}

// The components of a dictionary's text. Throws std::runtime_error that says what is wrong, with
// the line where that is known.
std::vector<Component> parseComponents(const std::string& text) {
    refuseUnparsable(text);
    std::string buffer = text;  // overwritten by the parser, whose nodes point into it
    rapidxml::xml_document<char> document;
    try {
        document.parse<parserFlags>(buffer.data());
    } catch (const rapidxml::parse_error& error) {
        throw errorAt(text, static_cast<std::size_t>(error.where<char>() - buffer.data()),
                      error.what());
    }
    const auto* const root = document.first_node(rootName);
    if (root == nullptr) {
        throw std::runtime_error(std::string("no element ") + rootName);
    }
    return componentsIn(*root);
}

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
