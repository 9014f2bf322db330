// SPDX-License-Identifier: Apache-2.0

// Streams that are damaged in every way that a fixed seed makes. The sanitizers tell what is read
// or written where nothing is.

#include <gtest/gtest.h>
#include <random>

#include "Demuxer.h"
#include "Sample.h"
#include "SectionBuilder.h"
#include "SectionRouter.h"
#include "StreamCore.h"
#include "StreamMaker.h"
#include "TsWriter.h"

namespace {

using namespace std::chrono_literals;
using streammaker::Bytes;

Bytes Stream(streammaker::VideoCodec codec) {
    streammaker::SampleOptions options;
    options.duration = 4s;
    options.codec = codec;
    options.muxRate = 400'000;
    return streammaker::MakeSample(options).Make(options.duration);
}

class DamagedStream : public testing::TestWithParam<streammaker::VideoCodec> {
protected:
    const Bytes stream = Stream(GetParam());

    StreamCore::Sums Play(const Bytes& bytes, std::size_t piece = 188 * 7) {
        StreamCore core;
        for (std::size_t at = 0; at < bytes.size(); at += piece) {
            core.Push(std::span(bytes).subspan(at, std::min(piece, bytes.size() - at)));
        }
        core.Break();
        return core.Seen();
    }
};

INSTANTIATE_TEST_SUITE_P(, DamagedStream,
                         testing::Values(streammaker::VideoCodec::MPEG2,
                                         streammaker::VideoCodec::H264),
                         [](const auto& parameter) {
                             return parameter.param == streammaker::VideoCodec::H264 ? "H264"
                                                                                     : "Mpeg2";
                         });

TEST_P(DamagedStream, BringsEverythingWhileItIsWhole) {
    const StreamCore::Sums whole = Play(stream);
    EXPECT_EQ(whole.packets, stream.size() / 188);
    EXPECT_GT(whole.sections, 20U);
    EXPECT_GT(whole.notices, 10U);
    EXPECT_GT(whole.captions, 50U);
    EXPECT_GT(whole.pes, 50U);
    // The same in any pieces.
    for (const std::size_t piece : {1UL, 100UL, 189UL, 65536UL}) {
        const StreamCore::Sums pieces = Play(stream, piece);
        EXPECT_EQ(pieces.packets, whole.packets) << piece;
        EXPECT_EQ(pieces.captions, whole.captions) << piece;
        EXPECT_EQ(pieces.sections, whole.sections) << piece;
    }
}

TEST_P(DamagedStream, IsFoundAgainBehindBytesThatAreNoPackets) {
    Bytes damaged(stream.begin(), stream.begin() + 188 * 100);
    damaged.insert(damaged.end(), 1000, 0x47);
    damaged.insert(damaged.end(), 77, 0x00);
    damaged.insert(damaged.end(), stream.begin() + 188 * 100, stream.end());
    const StreamCore::Sums seen = Play(damaged);
    // A few at the seam are no packets of the stream, or lost.
    EXPECT_NEAR(static_cast<double>(seen.packets), static_cast<double>(stream.size()) / 188, 10);
}

TEST_P(DamagedStream, KeepsStepOverAWrongSyncByte) {
    Bytes damaged = stream;
    damaged[188 * 50] = 0;
    EXPECT_EQ(Play(damaged).packets, stream.size() / 188 - 1);
}

TEST_P(DamagedStream, MayEndAnywhere) {
    for (std::size_t size = 0; size < 188 * 60; size += 13) {
        Play(Bytes(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(size)));
    }
}

TEST_P(DamagedStream, MayHaveAnyWrongBits) {
    for (unsigned seed = 0; seed < 60; ++seed) {
        std::mt19937 random(seed);
        Bytes damaged = stream;
        const std::size_t count = 1 + random() % 3000;
        for (std::size_t bit = 0; bit < count; ++bit) {
            damaged[random() % damaged.size()] ^= static_cast<std::uint8_t>(1U << random() % 8);
        }
        Play(damaged);
    }
}

// Inside of packets, so that the step stays and what stands in them is wrong.
TEST_P(DamagedStream, MayHaveAnyWrongFields) {
    for (unsigned seed = 0; seed < 60; ++seed) {
        std::mt19937 random(seed);
        Bytes damaged = stream;
        for (std::size_t packet = 0; packet < damaged.size(); packet += 188) {
            if (random() % 4 == 0) {
                // Flags, adaptation field, pointer, lengths: most stands at the begin.
                damaged[packet + 3 + random() % 20] = static_cast<std::uint8_t>(random());
            }
        }
        Play(damaged);
    }
}

TEST_P(DamagedStream, MayLoseRepeatAndSwapPackets) {
    for (unsigned seed = 0; seed < 40; ++seed) {
        std::mt19937 random(seed);
        Bytes damaged;
        for (std::size_t packet = 0; packet < stream.size(); packet += 188) {
            const auto begin = stream.begin() + static_cast<std::ptrdiff_t>(packet);
            const unsigned copies = random() % 8 == 0 ? random() % 3 : 1;
            for (unsigned copy = 0; copy < copies; ++copy) {
                damaged.insert(damaged.end(), begin, begin + 188);
            }
        }
        for (unsigned swap = 0; swap < 20; ++swap) {
            const std::size_t one = random() % (damaged.size() / 188) * 188;
            const std::size_t other = random() % (damaged.size() / 188) * 188;
            std::swap_ranges(damaged.begin() + static_cast<std::ptrdiff_t>(one),
                             damaged.begin() + static_cast<std::ptrdiff_t>(one + 188),
                             damaged.begin() + static_cast<std::ptrdiff_t>(other));
        }
        Play(damaged);
    }
}

// The sections of the tables, whole and with a right CRC_32, and wrong inside.
class SectionCollector final : public tvservice::SectionSink {
public:
    void OnSection(const tvservice::Section& section) override {
        const tvservice::Bytes bytes = section.Whole();
        sections.emplace_back(bytes.begin(), bytes.end());
    }
    std::vector<Bytes> sections;
};

std::vector<Bytes> SectionsOf(const Bytes& stream, std::uint16_t pid) {
    tvservice::Demuxer demuxer;
    tvservice::SectionRouter router(demuxer);
    SectionCollector collector;
    router.Add(pid, collector);
    for (std::size_t at = 0; at < stream.size(); at += 188) {
        demuxer.Push(std::span<const std::uint8_t, 188>(&stream[at], 188));
    }
    return collector.sections;
}

TEST_P(DamagedStream, MayHaveTablesThatAreWrongBehindARightCrc) {
    std::vector<std::pair<std::uint16_t, Bytes>> sections;
    for (const std::uint16_t pid : {0x0000, 0x0100, 0x0200, 0x0011, 0x0012}) {
        for (const Bytes& section : SectionsOf(stream, pid)) {
            sections.emplace_back(pid, section);
        }
    }
    ASSERT_GT(sections.size(), 50U);
    std::size_t notices = 0;
    for (unsigned seed = 0; seed < 100; ++seed) {
        std::mt19937 random(seed);
        streammaker::TsWriter writer;
        writer.WriteNull(3);
        for (auto [pid, section] : sections) {
            const unsigned count = random() % 4;
            for (unsigned change = 0; change < count; ++change) {
                section[3 + random() % (section.size() - 3)] = static_cast<std::uint8_t>(random());
            }
            streammaker::RenewCrc(section);
            writer.WriteSection(pid, section);
        }
        notices += Play(writer.Take()).notices;
    }
    EXPECT_GT(notices, 1000U) << "they come as far as the guide";
}

} // namespace
