// Preloaded into Vaultix by `make run` when it serves its screen over VNC:
// Qt's VNC platform listens on every network address and has no option to
// choose one, so every listening socket bound to "any address" is bound to
// the loopback address instead. Nothing on the network can then reach the
// screen of a password keeper.

#include <arpa/inet.h>
#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstring>

extern "C" int bind(int fd, const struct sockaddr* address, socklen_t length)
{
    using BindFn = int (*)(int, const struct sockaddr*, socklen_t);
    static BindFn realBind = reinterpret_cast<BindFn>(dlsym(RTLD_NEXT, "bind"));
    if (!realBind)
        return -1;

    if (address && address->sa_family == AF_INET && length >= socklen_t(sizeof(sockaddr_in))) {
        sockaddr_in v4;
        std::memcpy(&v4, address, sizeof v4);
        if (v4.sin_addr.s_addr == htonl(INADDR_ANY)) {
            v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            return realBind(fd, reinterpret_cast<const sockaddr*>(&v4), sizeof v4);
        }
    } else if (address && address->sa_family == AF_INET6 && length >= socklen_t(sizeof(sockaddr_in6))) {
        sockaddr_in6 v6;
        std::memcpy(&v6, address, sizeof v6);
        if (std::memcmp(&v6.sin6_addr, &in6addr_any, sizeof(in6_addr)) == 0) {
            // "::" on a dual-stack socket also takes IPv4; its loopback
            // twin is ::ffff:127.0.0.1, reached as 127.0.0.1.
            int v6only = 0;
            socklen_t size = sizeof v6only;
            getsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &v6only, &size);
            if (v6only)
                v6.sin6_addr = in6addr_loopback;
            else
                inet_pton(AF_INET6, "::ffff:127.0.0.1", &v6.sin6_addr);
            return realBind(fd, reinterpret_cast<const sockaddr*>(&v6), sizeof v6);
        }
    }
    return realBind(fd, address, length);
}
