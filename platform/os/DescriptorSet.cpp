#include "platform/os/DescriptorSet.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tarn::os {

namespace {

int check(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

}  // namespace

DescriptorSet::DescriptorSet(std::initializer_list<int> members)
    : number(check(::epoll_create1(EPOLL_CLOEXEC), "epoll_create1")) {
    for (const int member : members) {
        epoll_event readable{};
        readable.events = EPOLLIN;
        check(::epoll_ctl(number, EPOLL_CTL_ADD, member, &readable), "epoll_ctl");
    }
}

DescriptorSet::~DescriptorSet() {
    ::close(number);
}

}  // namespace tarn::os
