// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

#include <systemd/sd-bus.h>

#include "WireText.h"

namespace {

namespace WireText = Quill::WireText;

constexpr const char* REPLACED = "\xEF\xBF\xBD";

TEST(WireText, OwnsANameWithADotAsItIsAndOthersBehindQuill) {
    EXPECT_EQ(WireText::BusName("marrow.ser.server.MessageRouter"),
              "marrow.ser.server.MessageRouter");
    EXPECT_EQ(WireText::BusName("debugshell_C"), "quill.debugshell_C");
}

TEST(WireText, FindsNoBusNameInWhatIsNone) {
    for (const char* name : {"", "a..b", ".a", "a.", "a.b c", "1.2", ":1.5", "a.b/c"}) {
        EXPECT_EQ(WireText::BusName(name), "") << name;
    }
    EXPECT_EQ(WireText::BusName(std::string("a.b\0c", 5)), "");
    EXPECT_EQ(WireText::BusName("a." + std::string(300, 'b')), "");
}

TEST(WireText, FindsTheTopLevelOfAName) {
    EXPECT_EQ(WireText::TopLevel("marrow.ser.client.PID_1"), "marrow");
    EXPECT_EQ(WireText::TopLevel("quill.debugshell_C"), "quill");
}

TEST(WireText, WritesASignalsNameAsAMember) {
    EXPECT_EQ(WireText::SignalMember("marrow_ser_server_MRSignal__clock"),
              "marrow_ser_server_MRSignal__clock");
    EXPECT_EQ(WireText::SignalMember("a.b-c \xC3\xA4"), "a_2eb_2dc_20_c3_a4");
    EXPECT_EQ(WireText::SignalMember("1up"), "_31up") << "no member begins with a digit";
    EXPECT_EQ(WireText::SignalMember(std::string(400, 'x')).size(), 255U);
}

TEST(WireText, MatchesBySenderAndExactName) {
    EXPECT_EQ(WireText::SignalMatch("", "a.b"),
              "type='signal',interface='quill.Endpoint1',member='a_2eb',arg0='a.b'");
    EXPECT_EQ(WireText::SignalMatch("x.y", "it's"),
              "type='signal',interface='quill.Endpoint1',sender='x.y',member='it_27s'")
        << "the library and the bus read an apostrophe differently";
    EXPECT_EQ(WireText::SignalMatch("", "a\\b"),
              "type='signal',interface='quill.Endpoint1',member='a_5cb'");
    EXPECT_EQ(WireText::AllSignalsMatch(""), "type='signal',interface='quill.Endpoint1'");
    EXPECT_EQ(WireText::AllSignalsMatch("x.y"),
              "type='signal',interface='quill.Endpoint1',sender='x.y'");
}

// What sd-bus says to a string. It asks for a bus that has been started; nobody answers on this
// one.
int Append(const std::string& text) {
    std::array<int, 2> ends{};
    sd_bus* bus = nullptr;
    sd_bus_message* message = nullptr;
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0 ||
        sd_bus_new(&bus) < 0 || sd_bus_set_fd(bus, ends[0], ends[0]) < 0 || sd_bus_start(bus) < 0 ||
        sd_bus_message_new_method_call(bus, &message, "a.b", "/", "a.b", "C") < 0) {
        throw std::runtime_error("no bus to ask");
    }
    const int result = sd_bus_message_append(message, "s", text.c_str());
    sd_bus_message_unref(message);
    sd_bus_close_unref(bus);
    close(ends[1]);
    return result;
}

TEST(WireText, IsNeededBecauseTheBusLibraryRefusesThese) {
    EXPECT_LT(Append("\xFF"), 0);
    EXPECT_LT(Append("\xED\xA0\x80"), 0);
    EXPECT_LT(Append("\xEF\xBF\xBE"), 0);
}

struct Text {
    std::string given;
    std::string valid;
};

class ValidString : public testing::TestWithParam<Text> {};

TEST_P(ValidString, IsWhatTheBusLibraryTakes) {
    const std::string valid = WireText::ValidString(GetParam().given);
    EXPECT_EQ(valid, GetParam().valid);
    EXPECT_GE(Append(valid), 0);
}

const std::string R = REPLACED;

INSTANTIATE_TEST_SUITE_P(
    Texts, ValidString,
    testing::Values(
        Text{"plain text of more than eight bytes", "plain text of more than eight bytes"},
        Text{"", ""},
        Text{"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x93\xBA", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x93\xBA"},
        Text{"12345678\xFF", "12345678" + R}, Text{"\xC0\x80", R + R}, Text{"\xC3", R},
        Text{"\xC3z", R + "z"}, Text{"\xE2\x82", R}, Text{"\xE2\x82z", R + "z"},
        Text{"\xE0\x80\x80", R + R + R}, Text{"\xED\xA0\x80", R + R + R},
        Text{"\xF4\x90\x80\x80", R + R + R + R}, Text{"\xF5", R}, Text{"\x80", R},
        Text{"\xEF\xBF\xBE", R}, Text{"\xEF\xB7\x90", R}, Text{"\xF0\x9F\xBF\xBF", R},
        Text{std::string("a\0b", 3), "a" + R + "b"},
        Text{std::string("12345678\0", 9), "12345678" + R},
        Text{std::string("1234\0"
                         "678",
                         8),
             "1234" + R + "678"}));

} // namespace
