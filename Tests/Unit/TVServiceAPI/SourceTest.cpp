// SPDX-License-Identifier: Apache-2.0

// Where a stream may come from, and how fast.

#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Dlog.h"
#include "LogCapture.h"
#include "TestStream.h"
#include "WaitUntil.h"

namespace {

using namespace std::chrono_literals;
using streammaker::Bytes;
using streammaker::StreamMaker;

constexpr std::size_t PACKETS_PER_DATAGRAM = 7;

class SourceTest : public TestStream {
protected:
    SourceTest() {
        Signals().SubscribeSignal(SIGNAL_STREAM_FOUND, this, PROFILE_MAIN, 0);
        Signals().SubscribeSignal(SIGNAL_TIME, this, PROFILE_MAIN, 0);
        Signals().SubscribeSignal(SIGNAL_END_OF_FILE, this, PROFILE_MAIN, 0);
    }

    // Until the stream's clock has been heard so often.
    void WaitForTimes(std::ptrdiff_t times) {
        signals.Wait([times](const auto& entries) {
            return std::count_if(entries.begin(), entries.end(), [](const ReceivedSignal& entry) {
                       return entry.signal == SIGNAL_TIME;
                   }) >= times;
        });
    }
    void WaitForSource(const std::string& address) {
        WriteSettings("[source]\naddress = " + address + "\n");
        ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, "the stream comes from " + address));
    }

    const Bytes stream = StreamMaker(TestMultiplex({TestService(1, "One")})).Make(3s);
};

// A host's number, of either family, and a port.
class Target {
public:
    Target(const char* host, std::uint16_t port) {
        auto& ipv4 = reinterpret_cast<sockaddr_in&>(m_address);
        auto& ipv6 = reinterpret_cast<sockaddr_in6&>(m_address);
        if (inet_pton(AF_INET, host, &ipv4.sin_addr) == 1) {
            ipv4.sin_family = AF_INET;
            ipv4.sin_port = htons(port);
            m_size = sizeof(ipv4);
        } else if (inet_pton(AF_INET6, host, &ipv6.sin6_addr) == 1) {
            ipv6.sin6_family = AF_INET6;
            ipv6.sin6_port = htons(port);
            m_size = sizeof(ipv6);
        }
    }
    int Socket() const { return socket(m_address.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0); }
    bool CanBeBound() const {
        const int number = Socket();
        const bool isBound =
            bind(number, reinterpret_cast<const sockaddr*>(&m_address), m_size) == 0;
        close(number);
        return isBound;
    }
    void Send(int number, const Bytes& datagram) const {
        sendto(number, datagram.data(), datagram.size(), 0,
               reinterpret_cast<const sockaddr*>(&m_address), m_size);
    }

private:
    sockaddr_storage m_address{};
    socklen_t m_size = 0;
};

// A port that nobody has at the moment, below those that the kernel gives to whoever asks for any,
// and another one in each process.
std::uint16_t FreePort() {
    constexpr int LOWEST = 20000;
    constexpr int COUNT = 10000;
    int port = LOWEST + getpid() % COUNT;
    while (!Target("127.0.0.1", static_cast<std::uint16_t>(port)).CanBeBound()) {
        ++port;
    }
    return static_cast<std::uint16_t>(port);
}

// Sends the stream until `isEnough`, with `header` ahead of each datagram's packets.
void Send(const Bytes& stream, const Target& target, const Bytes& header,
          const std::function<bool()>& isEnough) {
    const int number = target.Socket();
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (!isEnough() && std::chrono::steady_clock::now() < deadline) {
        for (std::size_t at = 0; at < stream.size();) {
            const std::size_t size =
                std::min(PACKETS_PER_DATAGRAM * streammaker::PACKET_SIZE, stream.size() - at);
            Bytes datagram = header;
            datagram.insert(datagram.end(), stream.begin() + static_cast<std::ptrdiff_t>(at),
                            stream.begin() + static_cast<std::ptrdiff_t>(at + size));
            target.Send(number, datagram);
            at += size;
            usleep(50);
        }
    }
    close(number);
}

TEST_F(SourceTest, IsAnAddressOfThisMachine) {
    const std::uint16_t port = FreePort();
    WaitForSource("udp://127.0.0.1:" + std::to_string(port));
    Send(stream, Target("127.0.0.1", port), {}, [&] { return signals.Now().size() > 4; });
    WaitForTimes(3);
}

TEST_F(SourceTest, IsAnAddressOfThisMachineInIPv6) {
    const std::uint16_t port = FreePort();
    const Target target("::1", port);
    if (!target.CanBeBound()) {
        GTEST_SKIP() << "this machine has no IPv6";
    }
    WaitForSource("udp://[::1]:" + std::to_string(port));
    Send(stream, target, {}, [&] { return signals.Now().size() > 4; });
    WaitForTimes(3);
}

TEST_F(SourceTest, IsADatagramBehindAnRtpHeader) {
    const std::uint16_t port = FreePort();
    WaitForSource("udp://127.0.0.1:" + std::to_string(port));
    // With one contributing source and an extension of one word.
    Bytes header{0x91, 33,   0,    1,    0, 0, 0, 0, 0,    0,    0,    1,
                 0x47, 0x47, 0x47, 0x47, 0, 0, 0, 1, 0x47, 0x47, 0x47, 0x47};
    Send(stream, Target("127.0.0.1", port), header, [&] { return signals.Now().size() > 4; });
    WaitForTimes(3);
}

TEST_F(SourceTest, GoesOnBehindDatagramsThatAreNothingButHeader) {
    const std::uint16_t port = FreePort();
    const Target target("127.0.0.1", port);
    WaitForSource("udp://127.0.0.1:" + std::to_string(port));
    const Bytes header{0x80, 33, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1};
    Bytes withSources = header;
    withSources[0] = 0x8F; // fifteen of them, which aren't there
    Bytes withExtension = header;
    withExtension[0] = 0x90;
    Bytes withLongExtension = withExtension;
    withLongExtension.insert(withLongExtension.end(), {0, 0, 0xFF, 0xFF});
    const int number = target.Socket();
    for (const Bytes& datagram :
         {Bytes(), Bytes{0x80}, header, withSources, withExtension, withLongExtension}) {
        target.Send(number, datagram);
    }
    close(number);
    Send(stream, target, header, [&] { return signals.Now().size() > 4; });
    WaitForTimes(3);
}

TEST_F(SourceTest, IsAMulticastGroup) {
    const std::uint16_t port = FreePort();
    // The kernel chooses the interface by its routes: without one there is no group to join.
    const int probe = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ip_mreqn request{};
    inet_pton(AF_INET, "239.77.77.77", &request.imr_multiaddr);
    const bool canJoin =
        setsockopt(probe, IPPROTO_IP, IP_ADD_MEMBERSHIP, &request, sizeof(request)) == 0;
    close(probe);
    if (!canJoin) {
        GTEST_SKIP() << "this machine has no route for multicast";
    }
    WaitForSource("udp://239.77.77.77:" + std::to_string(port));
    const int number = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, "239.77.77.77", &address.sin_addr);
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (signals.Now().size() < 4 && std::chrono::steady_clock::now() < deadline) {
        for (std::size_t at = 0; at < stream.size(); at += streammaker::PACKET_SIZE) {
            sendto(number, stream.data() + at, streammaker::PACKET_SIZE, 0,
                   reinterpret_cast<sockaddr*>(&address), sizeof(address));
            usleep(20);
        }
    }
    close(number);
    WaitForTimes(3);
}

TEST_F(SourceTest, IsAFifoWhoseWritersComeAndGo) {
    const std::string path = (Folder() / "fifo").string();
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    WaitForSource(path);
    for (std::ptrdiff_t round = 1; round <= 2; ++round) {
        const int number = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        ASSERT_GE(number, 0);
        ASSERT_EQ(write(number, stream.data(), stream.size()), static_cast<ssize_t>(stream.size()));
        close(number);
        WaitForTimes(3 * round);
    }
}

TEST_F(SourceTest, IsLookedForUntilItIsThere) {
    const std::string path = (Folder() / "late.ts").string();
    WriteSettings("[source]\naddress = " + path + "\npace = fast\nloop = no\n");
    EXPECT_TRUE(LogCapture::WaitFor(
        DLOG_WARN, path + ": No such file or directory; trying again each second"));
    std::filesystem::rename(WriteStream(stream), path);
    WaitForEnd();
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_WARN, path), 1) << "told once";
}

TEST_F(SourceTest, IsToldInTheLogWhereItCannotBe) {
    const std::string socketFile = (Folder() / "socket").string();
    ASSERT_EQ(mknod(socketFile.c_str(), S_IFSOCK | 0600, 0), 0);
    for (const auto& [address, words] : std::map<std::string, std::string>{
             {Folder().string(), Folder().string() + ": Is a directory"},
             {socketFile, socketFile + ": No such device or address"},
             {"/proc/self/mem", "reading the stream: Input/output error"},
             {"/dev/null", "/dev/null: No data available"},
             {"udp://127.0.0.1", "udp://127.0.0.1 has no port"},
             {"udp://127.0.0.1:", "udp://127.0.0.1: has no port"},
             {"udp://[::1:5", "udp://[::1:5: Name or service not known"},
             {"udp://host.invalid:5", "udp://host.invalid:5: Name or service not known"},
             {"udp://192.0.2.1:5000", "udp://192.0.2.1:5000: bind: Cannot assign requested "
                                      "address"}}) {
        WriteSettings("[source]\naddress = " + address + "\n");
        EXPECT_TRUE(LogCapture::WaitFor(DLOG_WARN, words + "; trying again each second"))
            << address;
    }
}

TEST_F(SourceTest, IsAFilePlayedByItsClock) {
    const auto begin = std::chrono::steady_clock::now();
    Play(stream, "loop = no\n");
    WaitForEnd();
    const auto taken = std::chrono::steady_clock::now() - begin;
    EXPECT_GT(taken, 2900ms) << "three seconds of stream, and no clock reference at the very end";
}

TEST_F(SourceTest, IsAFilePlayedByItsClockOverAJump) {
    StreamMaker again(TestMultiplex({TestService(1, "One")}));
    Bytes twice = stream;
    const Bytes second = again.Make(1s); // its clock begins anew
    twice.insert(twice.end(), second.begin(), second.end());
    const auto begin = std::chrono::steady_clock::now();
    Play(twice, "loop = no\n");
    WaitForEnd();
    const auto taken = std::chrono::steady_clock::now() - begin;
    EXPECT_GT(taken, 3800ms);
}

} // namespace
