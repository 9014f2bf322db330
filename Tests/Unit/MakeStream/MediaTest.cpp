// SPDX-License-Identifier: Apache-2.0

// What a reader that has nothing to do with us finds in the streams.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostream>
#include <string>

#include "Media.h"
#include "StreamMaker.h"
#include "Television.h"

using namespace streammaker;
using namespace std::chrono_literals;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::StartsWith;
using testing::UnorderedElementsAre;

namespace {

struct Codec {
    VideoCodec codec;
    std::string name;

    friend void PrintTo(const Codec& value, std::ostream* stream) { *stream << value.name; }
};

class Media : public testing::TestWithParam<Codec> {
protected:
    static Multiplex Services() { return TwoServices(GetParam().codec); }
};

// The pictures of a video in the order in which they are shown, as "PTS,TYPE".
std::vector<std::string> Pictures(const std::string& file, const std::string& stream) {
    return Probe(file, {"-select_streams", stream, "-show_frames", "-show_entries",
                        "frame=pts,pict_type:frame_tags=:side_data=:frame_side_data_list="});
}

} // namespace

TEST_P(Media, FindsTheProgramsAndTheirNames) {
    Multiplex multiplex = Services();
    multiplex.services[1].name = "Zwei \u00fc";
    multiplex.services[1].provider = SiText::Raw("\x05"
                                                 "\xc7"); // ISO 8859-9
    const TemporaryFile file(StreamMaker(multiplex).Make(3s));
    const std::string& codec = GetParam().name;
    EXPECT_THAT(Probe(file.Path(), {"-show_entries",
                                    "program=program_id,pmt_pid,pcr_pid:program_tags=service_name,"
                                    "service_provider:program_stream=codec_name,width,height,id"}),
                UnorderedElementsAre("1,256,257,One,Maker," + codec + ",32,32,0x101",
                                     "2,512,513,Zwei \u00fc,\u00c7," + codec + ",32,32,0x201"));
}

TEST_P(Media, FindsSubtitlesAndTeletext) {
    Multiplex multiplex = Services();
    multiplex.services[0].components.push_back({0x110, 6, {SubtitlingDescriptor("eng")}});
    multiplex.services[0].components.push_back({0x111, 6, {TeletextDescriptor("fra")}});
    const TemporaryFile file(StreamMaker(multiplex).Make(3s));
    EXPECT_THAT(Probe(file.Path(), {"-select_streams", "s", "-show_entries",
                                    "stream=codec_name,id:stream_tags=language"}),
                IsSupersetOf({"dvb_subtitle,0x110,eng", "dvb_teletext,0x111,fra"}));
}

TEST_P(Media, FindsThePrivatePacketsAtTheirTimes) {
    Multiplex multiplex = Services();
    multiplex.services[0].components.push_back({0x110, 6, {SubtitlingDescriptor("eng")}});
    StreamMaker maker(multiplex);
    const Bytes end{0x20, 0, 0x0F, 0x80, 0, 1, 0, 0, 0xFF};
    maker.AddPes(1s, 0x110, end);
    maker.AddPes(2s, 0x110, end);
    const TemporaryFile file(maker.Make(3s));
    // It counts without the two bytes ahead of the segments and the marker behind them.
    EXPECT_THAT(Probe(file.Path(), {"-select_streams", "s", "-show_packets", "-show_entries",
                                    "packet=pts,size:side_data=:packet_side_data_list="}),
                ElementsAre("108000,6", "198000,6"));
}

TEST_P(Media, DecodesTheVideoWithoutAnError) {
    const TemporaryFile file(StreamMaker(Services()).Make(5s));
    DecodeVideo(file.Path());
}

TEST_P(Media, ShowsThePicturesInTheirOrder) {
    const StreamMaker maker(Services());
    const TemporaryFile file(maker.Make(2480ms)); // the last group is a short one
    for (const char* stream : {"v:0", "v:1"}) {
        const std::vector<std::string> pictures = Pictures(file.Path(), stream);
        ASSERT_EQ(pictures.size(), 62U);
        std::string types;
        for (unsigned i = 0; i < pictures.size(); ++i) {
            EXPECT_THAT(pictures[i], StartsWith(std::to_string(maker.PtsOfPicture(i)) + ","));
            types += pictures[i].substr(pictures[i].find(',') + 1, 1);
        }
        EXPECT_EQ(types.substr(50), "IBBPBBPBBPIP");
    }
}

TEST_P(Media, DecodesTheVideoOfAnotherPidAfterAMove) {
    StreamMaker maker(Services());
    maker.At(1090ms, [](Multiplex& multiplex) { multiplex.ServiceOf(1).videoPid = 0x111; });
    const TemporaryFile file(maker.Make(3s));
    DecodeVideo(file.Path());
    EXPECT_GT(Pictures(file.Path(), "i:0x111").size(), 40U);
}

TEST_P(Media, ReadsPopOnCaptions) {
    StreamMaker maker(Services());
    maker.AddCaption(1, 500ms, "A line of text");
    maker.AddCaption(1, 2s, "Two lines,\none below the other");
    maker.AddCaption(1, 4s, "\u266a caf\u00e9 \u00d1 \u266a");
    maker.EraseCaption(1, 6s);
    const TemporaryFile file(maker.Make(7s));
    DecodeVideo(file.Path());
    EXPECT_THAT(CaptionTexts(file.Path()),
                ElementsAre("A line of text", "Two lines,", "one below the other",
                            "\u266a caf\u00e9 \u00d1 \u266a"));
}

TEST_P(Media, ReadsRollUpAndPaintOnCaptions) {
    StreamMaker maker(Services());
    maker.AddCaption(1, 500ms, "Up it goes", CaptionStyle::ROLL_UP);
    maker.AddCaption(1, 2s, "and stays", CaptionStyle::ROLL_UP);
    maker.EraseCaption(1, 4s);
    maker.AddCaption(1, 5s, "Painted", CaptionStyle::PAINT_ON);
    maker.EraseCaption(1, 6s);
    const TemporaryFile file(maker.Make(7s));
    const std::vector<std::string> texts = CaptionTexts(file.Path());
    EXPECT_THAT(texts, AllOf(Contains("Up it goes"), Contains("and stays"), Contains("Painted")));
}

TEST_P(Media, FindsNoCaptionsInAServiceWithout) {
    StreamMaker maker(Services());
    maker.AddCaption(2, 500ms, "On the other one");
    const TemporaryFile file(maker.Make(3s));
    EXPECT_THAT(CaptionTexts(file.Path()), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(OfEachCodec, Media,
                         testing::Values(Codec{VideoCodec::MPEG2, "mpeg2video"},
                                         Codec{VideoCodec::H264, "h264"}),
                         [](const auto& instance) { return instance.param.name; });
