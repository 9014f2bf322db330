// SPDX-License-Identifier: Apache-2.0

// A datagram socket that takes log lines and drops them, for a bus that insists on a journal.
//
//     bench-journal PATH

#include <array>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

int main(int count, char** arguments) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (count != 2 || strlen(arguments[1]) >= sizeof(address.sun_path)) {
        std::fprintf(stderr, "usage: bench-journal PATH\n");
        return 2;
    }
    strcpy(address.sun_path, arguments[1]);
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        std::perror("bench-journal: bind");
        return 1;
    }
    std::array<char, 4096> line{};
    while (recv(descriptor, line.data(), line.size(), 0) >= 0) {
    }
    return 1;
}
