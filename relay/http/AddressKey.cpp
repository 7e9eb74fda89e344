#include "relay/http/AddressKey.h"

#include <cstring>
#include <netinet/in.h>

namespace wingbell {

AddressKey addressKey(const sockaddr_storage& address)
{
    AddressKey key = {};
    if (address.ss_family == AF_INET6) {
        sockaddr_in6 six = {};
        std::memcpy(&six, &address, sizeof six);
        std::memcpy(key.data(), &six.sin6_addr, key.size());
        return key;
    }
    constexpr std::size_t mappedPrefix = 12;
    key[mappedPrefix - 2] = 0xff;
    key[mappedPrefix - 1] = 0xff;
    sockaddr_in four = {};
    std::memcpy(&four, &address, sizeof four);
    std::memcpy(key.data() + mappedPrefix, &four.sin_addr, sizeof four.sin_addr);
    return key;
}

} // namespace wingbell
