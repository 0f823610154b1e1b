#pragma once

#include <netdb.h>

#include <cstdint>
#include <memory>
#include <string>

#include "platform/os/Deadline.h"

namespace tarn::storage_client {

struct FreeAddresses {
    void operator()(addrinfo* addresses) const { ::freeaddrinfo(addresses); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

/// The addresses of a host, given as a number or by its name. Throws Failure: for a name that means
/// nothing, and when the system has not answered before the deadline.
Addresses lookUpHost(const std::string& host, std::uint16_t port,
                     const tarn::os::Deadline& deadline);

}  // namespace tarn::storage_client
