// Only in builds with a sanitizer: a crash is to end the process with its signal there too, since
// the launcher tells the signal.

extern "C" {

const char* __asan_default_options();
const char* __asan_default_options() {
    return "handle_segv=0";
}

const char* __tsan_default_options();
const char* __tsan_default_options() {
    return "handle_segv=0";
}
}
