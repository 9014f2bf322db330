// SPDX-License-Identifier: Apache-2.0

// What is left of a stream when it ends, or another one takes its place.

#include <algorithm>
#include <gmock/gmock.h>

#include "PesBuilder.h"
#include "TestStream.h"
#include "TsWriter.h"

namespace {

using namespace std::chrono_literals;
using streammaker::Bytes;

class RestartTest : public TestStream {
protected:
    RestartTest() {
        Signals().SubscribeSignal(SIGNAL_END_OF_FILE, this, PROFILE_MAIN, 0);
        Signals().SubscribeSignal(SIGNAL_PAT_CHANGED, this, PROFILE_MAIN, 0);
    }
    std::ptrdiff_t CountOf(ESignalType signal) {
        const auto entries = signals.Now();
        return std::count_if(entries.begin(), entries.end(),
                             [signal](const auto& entry) { return entry.signal == signal; });
    }
};

TEST_F(RestartTest, BringsTheLastOpenPacketAheadOfTheEnd) {
    streammaker::PesBuilder builder;
    builder.unbounded = true;
    builder.payload = {1, 2, 3};
    streammaker::TsWriter writer;
    writer.WriteNull(3);
    writer.WritePes(0x345, builder.Build());
    int id = 0;
    EXPECT_EQ(Pes().SubscribePESData(AddPes, static_cast<TestStream*>(this), id), 1);
    Play(writer.Take(), ONCE, "[screen 1 0]\npes = 0x345\n");
    WaitForEnd();
    ASSERT_EQ(pes.Now().size(), 1U);
    EXPECT_EQ(pes.Now()[0].bytes, builder.Build());
}

TEST_F(RestartTest, KnowsNothingOfTheStreamBeforeThoughTheNextOneIsTheSame) {
    int id = 0;
    EXPECT_EQ(Programs().SubscribeProgram(TCProgramFilteringItem(), id), 1);
    const Bytes stream =
        streammaker::StreamMaker(TestMultiplex({TestService(1, "One")})).Make(500ms);
    Play(stream);
    WaitForEnd();
    Play(stream); // from another file
    signals.Wait([](const auto& entries) {
        return std::count_if(entries.begin(), entries.end(), [](const ReceivedSignal& entry) {
                   return entry.signal == SIGNAL_END_OF_FILE;
               }) == 2;
    });
    EXPECT_EQ(CountOf(SIGNAL_PAT_CHANGED), 2);
    const auto entries = programs.Now();
    EXPECT_EQ(std::count_if(entries.begin(), entries.end(),
                            [](const auto& entry) { return entry.type == PROGRAM_GONE; }),
              1);
}

} // namespace
