#include "platform/os/FileWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace tarn::os {

namespace {

// The folder, since whoever replaces a file puts another one in its place.
constexpr std::uint32_t changes = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE |
                                  IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;

constexpr std::size_t oneEvent = sizeof(inotify_event) + NAME_MAX + 1;

std::string folderOf(const std::string& path) {
    const auto parent = std::filesystem::path(path).parent_path();
    return parent.empty() ? "." : parent.string();
}

// Of the folder itself, or of more changes than the kernel kept: without a name.
bool concerns(const inotify_event& event, const std::string& name) {
    return event.len == 0 || name == static_cast<const char*>(event.name);
}

bool anyConcerns(const char* begin, std::size_t size, const std::string& name) {
    bool found = false;
    for (std::size_t position = 0; position + sizeof(inotify_event) <= size;) {
        const auto& event = *reinterpret_cast<const inotify_event*>(begin + position);
        found = found || concerns(event, name);
        position += sizeof(inotify_event) + event.len;
    }
    return found;
}

}  // namespace

FileWatch::FileWatch(const std::string& path)
    : name(std::filesystem::path(path).filename().string()),
      input(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    const auto folder = folderOf(path);
    if (!input.isOpen() || ::inotify_add_watch(input.get(), folder.c_str(), changes) < 0) {
        throw std::system_error(errno, std::generic_category(), folder);
    }
}

bool FileWatch::takeChange() {
    alignas(inotify_event) std::array<char, 16 * oneEvent> events{};
    bool changed = false;
    while (true) {
        const auto size = ::read(input.get(), events.data(), events.size());
        if (size <= 0) {
            return changed;
        }
        changed = anyConcerns(events.data(), static_cast<std::size_t>(size), name) || changed;
    }
}

}  // namespace tarn::os
