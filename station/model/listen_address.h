#pragma once

#include <netdb.h>

#include <memory>
#include <string>

namespace orvix::station {

struct FreeAddresses {
    void operator()(addrinfo* list) const { ::freeaddrinfo(list); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

/// A numeric address and a port to listen on: "127.0.0.1:9400" or "[::1]:9400". Null for a text of another form.
Addresses ParseListenAddress(const std::string& where);

/// Whether only programs on the same machine reach an address: 127.x.x.x and ::1.
bool IsLoopback(const addrinfo& address);

/// What to say about a text of another form.
inline constexpr char kListenAddressForm[] = "write a numeric address and a port, such as 127.0.0.1:9400";

}  // namespace orvix::station
