#include "peers/job_runtime/pipeline/PipelineEnvironment.h"

#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace tarn::peers {

namespace {

// A name that ends with an underscore stands for all that begin with it.
constexpr std::string_view known[] = {
    // the C library
    "HOME", "LANG", "LANGUAGE", "LC_", "LD_LIBRARY_PATH", "LOGNAME", "MALLOC_", "PATH", "TMPDIR",
    "TZ", "USER",
    // the media library and its plug-ins
    "AUDIODEV", "AV_", "CUDA_", "DISPLAY", "FONTCONFIG_", "FREI0R_PATH", "GIO_EXTRA_MODULES",
    "GST_", "G_DEBUG", "G_MESSAGES_DEBUG", "G_SLICE", "KLN_", "LADSPA_PATH", "LIBGL_", "LIBVA_",
    "LV2_PATH", "MESA_", "NVIDIA_", "ORC_", "PULSE_", "VDPAU_", "WAYLAND_DISPLAY", "XAUTHORITY",
    "XDG_", "http_proxy", "https_proxy", "no_proxy",
    // the runtimes of builds that look at themselves
    "ASAN_OPTIONS", "GCOV_", "LLVM_PROFILE_FILE", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"};

bool isKnown(std::string_view variable) {
    const auto name = variable.substr(0, variable.find('='));
    return std::any_of(std::begin(known), std::end(known), [&](std::string_view one) {
        return one.ends_with('_') ? name.starts_with(one) : name == one;
    });
}

}  // namespace

std::vector<std::string> pipelineEnvironment() {
    std::vector<std::string> kept;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (isKnown(*variable)) {
            kept.emplace_back(*variable);
        }
    }
    return kept;
}

}  // namespace tarn::peers
