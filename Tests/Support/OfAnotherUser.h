// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/syscall.h>
#include <unistd.h>

// For the time of connecting.
class AnotherUser {
protected:
    AnotherUser() { Become(SOMEBODY); }
    ~AnotherUser() { BeRoot(); }
    AnotherUser(const AnotherUser&) = delete;
    AnotherUser& operator=(const AnotherUser&) = delete;

    void BeRoot() const { Become(0); }

private:
    static constexpr uid_t SOMEBODY = 65534;

    // The C library's function would change all threads.
    void Become(uid_t user) const {
        if (m_isRoot) {
            syscall(SYS_setresuid, user, user, -1);
        }
    }

    const bool m_isRoot = getuid() == 0;
};

/// A client of the bus that connects as an ordinary user where the test is root's: who is at the
/// other end of a socket is settled when it connects. Only the calling thread is somebody else, and
/// only for so long.
template <class Client>
class OfAnotherUser : private AnotherUser, public Client {
public:
    OfAnotherUser() { BeRoot(); }
};
