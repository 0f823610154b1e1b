#include "platform/os/DescriptorSet.h"

#include <sys/epoll.h>

#include <cerrno>
#include <system_error>

namespace tarn::os {

DescriptorSet::DescriptorSet(std::initializer_list<int> members)
    : set(checkedDescriptor(::epoll_create1(EPOLL_CLOEXEC), "epoll_create1")) {
    for (const int member : members) {
        epoll_event readable{};
        readable.events = EPOLLIN;
        if (::epoll_ctl(set.get(), EPOLL_CTL_ADD, member, &readable) != 0) {
            throw std::system_error(errno, std::generic_category(), "epoll_ctl");
        }
    }
}

}  // namespace tarn::os
