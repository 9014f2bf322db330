// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <termios.h>
#include <unistd.h>
#include <vector>

#include "Dlog.h"
#include "FileDescriptor.h"
#include "LogCapture.h"
#include "StreamReader.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"

namespace {

using tvservice::PACKET_BYTES;
using tvservice::StreamReader;
using What = StreamReader::Next::What;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t PACKETS = 12;

// A source that fails while it is read, as a tuner does that is taken away: a terminal whose other
// end goes.
class Line {
public:
    Line() : m_end(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        grantpt(m_end.Number());
        unlockpt(m_end.Number());
        termios settings{};
        tcgetattr(m_end.Number(), &settings);
        cfmakeraw(&settings);
        tcsetattr(m_end.Number(), TCSANOW, &settings);
    }
    std::string Name() const { return ptsname(m_end.Number()); }
    bool Write(const Bytes& bytes) const {
        return write(m_end.Number(), bytes.data(), bytes.size()) ==
               static_cast<ssize_t>(bytes.size());
    }
    void HangUp() { m_end = marrow::base::FileDescriptor(); }

private:
    marrow::base::FileDescriptor m_end;
};

// Whole packets that are told by their content, and what there is yet of the next one.
Bytes Stream(std::uint8_t content, std::size_t more = 0) {
    Bytes bytes(PACKETS * PACKET_BYTES + more, content);
    for (std::size_t at = 0; at < bytes.size(); at += PACKET_BYTES) {
        bytes[at] = 0x47;
    }
    return bytes;
}

class StreamReaderTest : public testing::Test {
protected:
    // Reads until there is something of this kind.
    bool ReadTo(What what) {
        return WaitUntil([&] {
            next = reader.Read(StreamReader::Clock::now() + std::chrono::milliseconds(10));
            return next.what == what;
        });
    }

    const TemporaryFolder folder;
    const std::string address = folder.Path() / "source";
    StreamReader reader{std::make_shared<tvservice::WakeEvent>()};
    StreamReader::Next next;
};

TEST_F(StreamReaderTest, BreaksOffWhereItsSourceFailsAndBeginsAnewWithTheNext) {
    Line first;
    const Line second;
    std::filesystem::create_symlink(first.Name(), address);
    tvservice::SourceSettings settings;
    settings.address = address;
    reader.SetSource(settings);
    EXPECT_EQ(reader.Read({}).what, What::Nothing); // it is open
    ASSERT_TRUE(first.Write(Stream(1, 100)));
    for (std::size_t i = 0; i < PACKETS; ++i) {
        ASSERT_TRUE(ReadTo(What::Packet));
        EXPECT_EQ(next.packet[1], 1);
    }
    std::filesystem::remove(address);
    std::filesystem::create_symlink(second.Name(), address);
    first.HangUp();
    ASSERT_TRUE(ReadTo(What::Break));
    ASSERT_TRUE(second.Write(Stream(2)));
    for (std::size_t i = 0; i < PACKETS; ++i) {
        ASSERT_TRUE(ReadTo(What::Packet));
        EXPECT_EQ(Bytes(next.packet + 1, next.packet + PACKET_BYTES), Bytes(PACKET_BYTES - 1, 2));
    }
}

class StreamReaderOfAFile : public StreamReaderTest {
protected:
    void Play(const Bytes& bytes) {
        std::ofstream(address, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        tvservice::SourceSettings settings;
        settings.address = address;
        settings.pace = tvservice::SourceSettings::Pace::Fast;
        settings.loop = true;
        reader.SetSource(settings);
    }
};

TEST_F(StreamReaderOfAFile, DoesntRaceThroughOneThatHasFewPackets) {
    Play(Stream(1));
    ASSERT_TRUE(ReadTo(What::End));
    const auto begin = StreamReader::Clock::now();
    constexpr int ROUNDS = 4;
    for (int round = 0; round < ROUNDS; ++round) {
        EXPECT_TRUE(next.again);
        std::size_t packets = 0;
        ASSERT_TRUE(WaitUntil([&] {
            next = reader.Read(StreamReader::Clock::now() + std::chrono::seconds(1));
            packets += next.what == What::Packet ? 1 : 0;
            return next.what == What::End;
        }));
        EXPECT_EQ(packets, PACKETS);
    }
    // The first of them may begin at once.
    EXPECT_GE(StreamReader::Clock::now() - begin, (ROUNDS - 1) * std::chrono::milliseconds(100));
}

TEST_F(StreamReaderOfAFile, StaysAtTheEndOfOneThatHasNoPacketAndSaysSo) {
    for (const Bytes& bytes : {Bytes(), Bytes(10000, 'x')}) {
        LogCapture::Clear();
        Play(bytes);
        ASSERT_TRUE(ReadTo(What::End));
        EXPECT_FALSE(next.again);
        EXPECT_TRUE(LogCapture::WaitFor(DLOG_WARN, "no transport packet is in " + address));
    }
}

} // namespace
