// SPDX-License-Identifier: Apache-2.0

// What of each datagram is taken for packets.

#include "Source.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <memory>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <vector>

#include "FileDescriptor.h"
#include "TsPacket.h"

namespace {

using tvservice::Source;
using Bytes = std::vector<std::uint8_t>;

class UdpSourceTest : public testing::Test {
protected:
    void SetUp() override {
        socklen_t size = sizeof(m_address);
        ASSERT_EQ(
            getsockname(m_source->Descriptor(), reinterpret_cast<sockaddr*>(&m_address), &size), 0);
    }

    // What the source makes of a datagram.
    Bytes Receive(const Bytes& datagram) {
        EXPECT_EQ(sendto(m_sender.Number(), datagram.data(), datagram.size(), 0,
                         reinterpret_cast<const sockaddr*>(&m_address), sizeof(m_address)),
                  static_cast<ssize_t>(datagram.size()));
        pollfd waiting{m_source->Descriptor(), POLLIN, 0};
        EXPECT_EQ(poll(&waiting, 1, 20000), 1);
        Bytes room(Source::LEAST_ROOM);
        const Source::Result result = m_source->Read(room);
        EXPECT_EQ(result.outcome,
                  result.size > 0 ? Source::Outcome::Data : Source::Outcome::Nothing);
        room.resize(result.size);
        return room;
    }
    // A datagram of RTP, `first` its first byte.
    static Bytes Rtp(std::uint8_t first, const Bytes& rest) {
        Bytes datagram{first, 33, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1};
        datagram.insert(datagram.end(), rest.begin(), rest.end());
        return datagram;
    }

    const Bytes packet = Bytes(tvservice::PACKET_BYTES, tvservice::SYNC_BYTE);

private:
    const std::unique_ptr<Source> m_source = Source::Open("udp://127.0.0.1:0");
    const marrow::base::FileDescriptor m_sender{socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    sockaddr_in m_address{};
};

TEST_F(UdpSourceTest, TakesAllOfOneWithoutRtp) {
    EXPECT_EQ(Receive(packet), packet);
    EXPECT_EQ(Receive({0xA0, 1}), (Bytes{0xA0, 1})) << "too short for RTP";
}

TEST_F(UdpSourceTest, TakesWhatIsBehindTheHeader) {
    EXPECT_EQ(Receive(Rtp(0x80, packet)), packet);
}

TEST_F(UdpSourceTest, LeavesThePaddingOut) {
    Bytes padded = packet;
    padded.insert(padded.end(), {0x47, 0x47, 0, 4});
    EXPECT_EQ(Receive(Rtp(0xA0, padded)), packet);
    padded.back() = 192;
    EXPECT_EQ(Receive(Rtp(0xA0, padded)), Bytes()) << "nothing but padding";
    padded.back() = 193;
    EXPECT_EQ(Receive(Rtp(0xA0, padded)), Bytes()) << "more than there is";
    EXPECT_EQ(Receive(Rtp(0xA0, {})), Bytes());
}

} // namespace
