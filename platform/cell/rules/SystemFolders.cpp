#include "platform/cell/rules/SystemFolders.h"

#include <cstdlib>
#include <sstream>

namespace tarn::cell {

namespace {

// /usr/share is named piece by piece: the folder of persistent jobs is in it.
constexpr const char* readable[] = {
    "/bin",
    "/lib",
    "/lib32",
    "/lib64",
    "/sbin",
    "/usr/bin",
    "/usr/games",
    "/usr/lib",
    "/usr/lib32",
    "/usr/lib64",
    "/usr/libexec",
    "/usr/local/bin",
    "/usr/local/lib",
    "/usr/sbin",
    "/usr/share/X11",
    "/usr/share/alsa",
    "/usr/share/ca-certificates",
    "/usr/share/drirc.d",
    "/usr/share/ffmpeg",
    "/usr/share/fontconfig",
    "/usr/share/fonts",
    "/usr/share/glib-2.0",
    "/usr/share/glvnd",
    "/usr/share/gst-plugins-bad",
    "/usr/share/gst-plugins-base",
    "/usr/share/gstreamer-1.0",
    "/usr/share/i18n",
    "/usr/share/libdrm",
    "/usr/share/locale",
    "/usr/share/mime",
    "/usr/share/misc",
    "/usr/share/p11-kit",
    "/usr/share/soundfonts",
    "/usr/share/sounds",
    "/usr/share/vulkan",
    "/usr/share/zoneinfo",
    "/etc/OpenCL",
    "/etc/alsa",
    "/etc/alternatives",
    "/etc/asound.conf",
    "/etc/ca-certificates",
    "/etc/fonts",
    "/etc/gai.conf",
    "/etc/glvnd",
    "/etc/group",
    "/etc/host.conf",
    "/etc/hosts",
    "/etc/ld.so.cache",
    "/etc/locale.alias",
    "/etc/localtime",
    "/etc/mime.types",
    "/etc/nsswitch.conf",
    "/etc/passwd",
    "/etc/pki",
    "/etc/protocols",
    "/etc/pulse",
    "/etc/resolv.conf",
    "/etc/services",
    "/etc/ssl/certs",
    "/etc/ssl/openssl.cnf",
    "/etc/timezone",
    "/etc/vulkan",
    "/run/systemd/resolve",
    "/var/cache/fontconfig",
    "/proc/self",
    "/proc/cpuinfo",
    "/proc/filesystems",
    "/proc/meminfo",
    "/proc/stat",
    "/proc/sys/kernel",
    "/proc/sys/vm",
    "/proc/version",
    "/sys/bus",
    "/sys/class",
    "/sys/dev",
    "/sys/devices",
};

// The frames of other processes come through /dev/shm.
constexpr const char* devices[] = {"/dev/null", "/dev/zero", "/dev/full",    "/dev/random",
                                   "/dev/tty",  "/dev/dri",  "/dev/urandom", "/dev/snd"};

constexpr const char* searchVariables[] = {"GST_PLUGIN_PATH",
                                           "GST_PLUGIN_PATH_1_0",
                                           "GST_PLUGIN_SYSTEM_PATH",
                                           "GST_PLUGIN_SYSTEM_PATH_1_0",
                                           "LD_LIBRARY_PATH",
                                           "FREI0R_PATH",
                                           "LADSPA_PATH",
                                           "LV2_PATH"};

void addListed(const char* list, std::vector<FolderRule>& rules) {
    std::istringstream paths(list);
    for (std::string path; std::getline(paths, path, ':');) {
        if (path.starts_with('/')) {
            rules.push_back({path, Access::Read});
        }
    }
}

}  // namespace

std::vector<FolderRule> systemFolders() {
    std::vector<FolderRule> rules = {{"/dev/shm", Access::Write}};
    for (const auto* const path : readable) {
        rules.push_back({path, Access::Read});
    }
    for (const auto* const path : devices) {
        rules.push_back({path, Access::ReadDevice});
    }
    return rules;
}

std::vector<FolderRule> searchFolders() {
    std::vector<FolderRule> rules;
    for (const auto* const variable : searchVariables) {
        if (const char* const list = std::getenv(variable)) {
            addListed(list, rules);
        }
    }
    if (const char* const home = std::getenv("HOME"); home != nullptr && *home == '/') {
        rules.push_back({std::string(home) + "/.local/share/gstreamer-1.0", Access::Read});
        rules.push_back({std::string(home) + "/.cache/gstreamer-1.0", Access::Read});
    }
    return rules;
}

}  // namespace tarn::cell
