// Does what a faulty program would, with numbers that no compiler knows beforehand:
// overrun stack 200, overrun copy 200, overrun large 200.
#include <alloca.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// Its own loop, which no checked function of the C library sees.
[[gnu::noinline]] char fillStack(std::size_t count) {
    volatile char buffer[16] = {};
    for (std::size_t i = 0; i < count; ++i) {
        buffer[i] = 'x';
    }
    return buffer[count % sizeof buffer];
}

// How large the copy's target is, is known at run time only.
[[gnu::noinline]] char copyToHeap(const char* text, std::size_t room, std::size_t count) {
    auto* const buffer = static_cast<char*>(std::malloc(room));
    std::memcpy(buffer, text, count);
    const char last = buffer[room - 1];
    std::free(buffer);
    return last;
}

// Looked at, not run: a stack that grows by more than a page is touched on the way.
[[gnu::noinline]] char growStack(std::size_t count) {
    auto* const buffer = static_cast<volatile char*>(alloca(count * 65536));
    buffer[0] = 'x';
    return buffer[0];
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    const std::string what = argv[1];
    const auto count = static_cast<std::size_t>(std::strtoul(argv[2], nullptr, 10));
    const std::string text(count, 'x');
    if (what == "stack") {
        return fillStack(count) == 'x' ? 0 : 3;
    }
    if (what == "copy") {
        return copyToHeap(text.c_str(), 16, count) == 'x' ? 0 : 3;
    }
    return growStack(count) == 'x' ? 0 : 3;
}
