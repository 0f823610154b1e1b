#include "tests/failing_disk/Disk.h"

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <system_error>

namespace tarn::failing_disk {

namespace {

std::system_error failure(int error) {
    return {error, std::generic_category()};
}

}  // namespace

Disk::Node& Disk::node(NodeNumber number) {
    const auto found = nodes.find(number);
    return found == nodes.end() ? throw failure(ESTALE) : found->second;
}

const Disk::Node& Disk::node(NodeNumber number) const {
    const auto found = nodes.find(number);
    return found == nodes.end() ? throw failure(ESTALE) : found->second;
}

Folder& Disk::folder(NodeNumber number) {
    auto* const content = std::get_if<Folder>(&node(number).content);
    return content == nullptr ? throw failure(ENOTDIR) : *content;
}

const Folder& Disk::folder(NodeNumber number) const {
    const auto* const content = std::get_if<Folder>(&node(number).content);
    return content == nullptr ? throw failure(ENOTDIR) : *content;
}

FileContent& Disk::file(NodeNumber number) {
    auto* const content = std::get_if<FileContent>(&node(number).content);
    return content == nullptr ? throw failure(EISDIR) : *content;
}

const FileContent& Disk::file(NodeNumber number) const {
    const auto* const content = std::get_if<FileContent>(&node(number).content);
    return content == nullptr ? throw failure(EISDIR) : *content;
}

NodeNumber Disk::numberOf(NodeNumber parent, const std::string& name) const {
    const auto found = folder(parent).find(name);
    return found ? *found : throw failure(ENOENT);
}

Disk::Attributes Disk::describe(NodeNumber number) const {
    const auto* const content = std::get_if<FileContent>(&node(number).content);
    return {.number = number,
            .kind = content == nullptr ? Kind::Folder : Kind::File,
            .size = content == nullptr ? 0 : content->size()};
}

Disk::Attributes Disk::attributes(NodeNumber number) const {
    const std::lock_guard lock(mutex);
    return describe(number);
}

Disk::Attributes Disk::find(NodeNumber parent, const std::string& name) const {
    const std::lock_guard lock(mutex);
    return describe(numberOf(parent, name));
}

std::vector<std::pair<std::string, Disk::Attributes>> Disk::list(NodeNumber parent) const {
    const std::lock_guard lock(mutex);
    std::vector<std::pair<std::string, Attributes>> found;
    for (const auto& [name, number] : folder(parent).entries()) {
        found.emplace_back(name, describe(number));
    }
    return found;
}

std::string Disk::pathOf(NodeNumber number) const {
    const std::lock_guard lock(mutex);
    std::string path;
    while (number != root) {
        const auto found = nodes.find(number);
        if (found == nodes.end()) {
            break;
        }
        path = path.empty() ? found->second.name : found->second.name + "/" + path;
        number = found->second.parent;
    }
    return path;
}

NodeNumber Disk::at(const std::string& path) const {
    const std::lock_guard lock(mutex);
    std::istringstream parts(path);
    auto number = root;
    for (std::string part; std::getline(parts, part, '/');) {
        number = numberOf(number, part);
    }
    return number;
}

Disk::Attributes Disk::make(NodeNumber parent, const std::string& name, Kind kind) {
    const std::lock_guard lock(mutex);
    if (folder(parent).find(name)) {
        throw failure(EEXIST);
    }
    const auto number = ++last;
    Node made{.number = number, .parent = parent, .name = name};
    if (kind == Kind::File) {
        made.content = FileContent();
    }
    nodes.emplace(number, std::move(made));
    folder(parent).put(name, number);
    return describe(number);
}

void Disk::remove(NodeNumber parent, const std::string& name, Kind kind) {
    const std::lock_guard lock(mutex);
    const auto number = numberOf(parent, name);
    if (kind == Kind::File) {
        file(number);
    } else if (!folder(number).entries().empty()) {
        throw failure(ENOTEMPTY);
    }
    folder(parent).remove(name);
    takeName(number);
}

void Disk::rename(NodeNumber parent, const std::string& from, const std::string& to) {
    const std::lock_guard lock(mutex);
    const auto number = numberOf(parent, from);
    const auto replaced = folder(parent).find(to);
    if (replaced && describe(*replaced).kind == Kind::Folder &&
        !folder(*replaced).entries().empty()) {
        throw failure(ENOTEMPTY);
    }
    folder(parent).rename(from, to);
    node(number).name = to;
    if (replaced && *replaced != number) {
        takeName(*replaced);
    }
}

std::string Disk::read(NodeNumber number, std::uint64_t offset, std::size_t size) const {
    const std::lock_guard lock(mutex);
    return file(number).read(offset, size);
}

void Disk::write(NodeNumber number, std::uint64_t offset, std::string_view bytes) {
    const std::lock_guard lock(mutex);
    auto& content = file(number);
    const auto end = offset + bytes.size();
    if (end > content.size() && end - content.size() > room()) {
        throw failure(ENOSPC);
    }
    content.write(offset, bytes);
}

void Disk::resize(NodeNumber number, std::uint64_t size) {
    const std::lock_guard lock(mutex);
    auto& content = file(number);
    if (size > content.size() && size - content.size() > room()) {
        throw failure(ENOSPC);
    }
    content.resize(size);
}

void Disk::sync(NodeNumber number) {
    const std::lock_guard lock(mutex);
    std::visit([](auto& content) { content.sync(); }, node(number).content);
    forgetWhatIsGone();
}

void Disk::failSync(NodeNumber number, const Luck& hasReached) {
    const std::lock_guard lock(mutex);
    if (auto* const content = std::get_if<FileContent>(&node(number).content)) {
        content->failSync(hasReached);
    }
}

void Disk::hold(NodeNumber number) {
    const std::lock_guard lock(mutex);
    ++node(number).holders;
}

void Disk::release(NodeNumber number, std::uint64_t times) {
    const std::lock_guard lock(mutex);
    const auto found = nodes.find(number);
    if (found != nodes.end()) {
        found->second.holders -= std::min(times, found->second.holders);
        forgetWhatIsGone();
    }
}

void Disk::takeName(NodeNumber number) {
    node(number).hasName = false;
    forgetWhatIsGone();
}

// What would be found after a loss of power stays.
bool Disk::isGone(const Node& entry) const {
    if (entry.hasName || entry.holders > 0) {
        return false;
    }
    const auto parent = nodes.find(entry.parent);
    const auto* const names =
        parent == nodes.end() ? nullptr : std::get_if<Folder>(&parent->second.content);
    return names == nullptr || !names->wouldBeFound(entry.number);
}

// With a folder goes what was in it.
void Disk::forgetWhatIsGone() {
    const auto isGoneNow = [this](const auto& entry) { return isGone(entry.second); };
    while (std::erase_if(nodes, isGoneNow) > 0) {
    }
}

void Disk::writeBack(const Luck& reaches) {
    const std::lock_guard lock(mutex);
    for (auto& [number, entry] : nodes) {
        if (auto* const content = std::get_if<FileContent>(&entry.content)) {
            content->writeBack(reaches);
        }
    }
}

void Disk::dropCache() {
    const std::lock_guard lock(mutex);
    for (auto& [number, entry] : nodes) {
        if (auto* const content = std::get_if<FileContent>(&entry.content)) {
            content->dropCache();
        }
    }
}

void Disk::losePower(const Luck& hasReached) {
    const std::lock_guard lock(mutex);
    for (auto& [number, entry] : nodes) {
        std::visit([&](auto& content) { content.losePower(hasReached); }, entry.content);
        entry.hasName = number == root;
    }
    nameAll(root);
    forgetWhatIsGone();
}

void Disk::nameAll(NodeNumber number) {
    auto* const names = std::get_if<Folder>(&node(number).content);
    if (names == nullptr) {
        return;
    }
    for (const auto& [name, entry] : names->entries()) {
        auto& named = node(entry);
        named.hasName = true;
        named.name = name;
        nameAll(entry);
    }
}

std::uint64_t Disk::room() const {
    auto used = taken;
    for (const auto& [number, entry] : nodes) {
        const auto* const content = std::get_if<FileContent>(&entry.content);
        used += content != nullptr && (entry.hasName || entry.holders > 0) ? content->size() : 0;
    }
    return capacity > used ? capacity - used : 0;
}

std::uint64_t Disk::free() const {
    const std::lock_guard lock(mutex);
    return room();
}

void Disk::setTaken(std::uint64_t bytes) {
    const std::lock_guard lock(mutex);
    taken = bytes;
}

}  // namespace tarn::failing_disk
