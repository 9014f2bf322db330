// SPDX-License-Identifier: Apache-2.0

#include "StartPicture.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>

#include "StartLines.h"

namespace {

using hearthctl::DrawStart;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

struct Element {
    std::string name;
    std::map<std::string, std::string> attributes;
    std::string text;

    double Number(const std::string& attribute) const {
        return std::stod(attributes.at(attribute));
    }
};

// The elements in the order of their begins, with their own texts.
class Xml {
public:
    explicit Xml(const std::string& text) {
        const GMarkupParser parser{&Begin, &End, &Text, nullptr, nullptr};
        GMarkupParseContext* const context =
            g_markup_parse_context_new(&parser, GMarkupParseFlags(0), this, nullptr);
        GError* error = nullptr;
        isWellFormed = g_markup_parse_context_parse(context, text.data(),
                                                    static_cast<gssize>(text.size()), &error) &&
                       g_markup_parse_context_end_parse(context, &error);
        EXPECT_TRUE(isWellFormed) << error->message << '\n' << text;
        g_clear_error(&error);
        g_markup_parse_context_free(context);
    }

    std::vector<Element> Of(const std::string& name, const std::string& kind) const {
        std::vector<Element> found;
        for (const Element& element : elements) {
            const auto attribute = element.attributes.find("class");
            if (element.name == name && attribute != element.attributes.end() &&
                attribute->second == kind) {
                found.push_back(element);
            }
        }
        return found;
    }

    std::vector<std::string> Texts(const std::string& name) const {
        std::vector<std::string> texts;
        for (const Element& element : elements) {
            if (element.name == name) {
                texts.push_back(element.text);
            }
        }
        return texts;
    }

    bool isWellFormed = false;
    std::vector<Element> elements;

private:
    static void Begin(GMarkupParseContext* /*context*/, const char* name, const char** attributes,
                      const char** values, void* self, GError** /*error*/) {
        Element element{.name = name, .attributes = {}, .text = {}};
        for (; *attributes != nullptr; ++attributes, ++values) {
            element.attributes[*attributes] = *values;
        }
        static_cast<Xml*>(self)->m_open.push_back(static_cast<Xml*>(self)->elements.size());
        static_cast<Xml*>(self)->elements.push_back(element);
    }
    static void End(GMarkupParseContext* /*context*/, const char* /*name*/, void* self,
                    GError** /*error*/) {
        static_cast<Xml*>(self)->m_open.pop_back();
    }
    static void Text(GMarkupParseContext* /*context*/, const char* text, gsize size, void* self,
                     GError** /*error*/) {
        Xml& xml = *static_cast<Xml*>(self);
        if (!xml.m_open.empty()) {
            xml.elements[xml.m_open.back()].text.append(text, size);
        }
    }

    std::vector<std::size_t> m_open;
};

Xml Draw(const std::vector<std::string>& lines) {
    return Xml(DrawStart(LastStart(lines).value()));
}

TEST(StartPicture, HasABarForEachLoadAndStart) {
    const Xml picture =
        Draw({Timing("INIT", "4 ms"), Timing("a_LOAD", "1 ms"), Timing("a_START", "3 ms"),
              Timing("b_LOAD", "2 ms"), Timing("b_START", "6 ms")});
    // The first of each kind is the legend's.
    const std::vector<Element> loads = picture.Of("rect", "load");
    const std::vector<Element> starts = picture.Of("rect", "start");
    ASSERT_EQ(loads.size(), 3U);
    ASSERT_EQ(starts.size(), 3U);
    EXPECT_NEAR(starts[1].Number("width"), 3 * loads[1].Number("width"), 0.2);
    EXPECT_NEAR(starts[2].Number("width"), 6 * loads[1].Number("width"), 0.2);
    EXPECT_NEAR(loads[1].Number("x") + loads[1].Number("width"), starts[1].Number("x"), 0.2);
    EXPECT_NEAR(starts[1].Number("x") + starts[1].Number("width"), loads[2].Number("x"), 0.2);
    EXPECT_EQ(loads[1].attributes.at("y"), starts[1].attributes.at("y"));
    EXPECT_GT(loads[2].Number("y"), loads[1].Number("y"));
    EXPECT_NEAR(picture.Of("rect", "init").at(1).Number("width"), 4 * loads[1].Number("width"),
                0.2);
}

TEST(StartPicture, MarksTheLongest) {
    const Xml picture =
        Draw({Timing("a_LOAD", "1 ms"), Timing("a_START", "3 ms"), Timing("b_LOAD", "2 ms"),
              Timing("b_START", "6 ms"), Timing("c_LOAD", "2 ms"), Timing("c_START", "5 ms")});
    const std::vector<Element> longest = picture.Of("text", "longest");
    ASSERT_EQ(longest.size(), 2U);
    EXPECT_EQ(longest[0].text, "b");
    EXPECT_EQ(longest[1].text, "2 ms + 6 ms, the longest");
}

TEST(StartPicture, MarksWhatHasNotStarted) {
    const Xml picture = Draw({Timing("a_LOAD", "1 ms"), Failed("failed to start a service"),
                              Failed("failed to load b service"), Timing("c_LOAD", "3 us")});
    EXPECT_THAT(picture.Texts("title"),
                ElementsAre("The start of hearthd", "a: 1 ms, failed to start, the longest",
                            "b: failed to load", "c: 3 us, start not ended"));
    EXPECT_EQ(picture.Of("rect", "open").size(), 4U) << "with the legend's";
    EXPECT_EQ(picture.Of("text", "trouble").size(), 6U) << "names and words";
    EXPECT_EQ(picture.Of("rect", "start").size(), 1U) << "the legend's alone";
}

TEST(StartPicture, LetsAStartThatHasNotEndedGoOnToTheRightEdge) {
    const Xml picture = Draw({InJournal(7, Timing("a_LOAD", "1 ms"), 1.001),
                              InJournal(7, Timing("INIT", "8 ms"), 1.009)});
    const Element open = picture.Of("rect", "open").back();
    const Element init = picture.Of("rect", "init").back();
    EXPECT_NEAR(open.Number("x") + open.Number("width"), init.Number("x") + init.Number("width"),
                0.2);
    EXPECT_GT(open.Number("width"), 7 * picture.Of("rect", "load").back().Number("width"));
}

TEST(StartPicture, HoldsAnyName) {
    const std::string name = "<a> & \"b\" 'c' \x01\x1b\xff\xef\xbf\xbf gr\xc3\xbc";
    const Xml picture = Draw({Timing(name + "_LOAD", "1 us"), Timing(name + "_START", "2 us")});
    EXPECT_THAT(picture.Texts("text"), Contains("<a> & \"b\" 'c' ??\xef\xbf\xbd? gr\xc3\xbc"));
    EXPECT_THAT(picture.Texts("title"), Contains(HasSubstr("<a> & \"b\" 'c' ??")));
}

TEST(StartPicture, ShortensALongNameAndTellsItWhereItIsPointedAt) {
    std::string name;
    for (int i = 0; i < 30; ++i) {
        name += "\xc3\xbc";
    }
    const Xml picture = Draw({Timing(name + "_LOAD", "1 us")});
    EXPECT_THAT(picture.Texts("text"), Contains(name.substr(0, 50) + "…"));
    EXPECT_THAT(picture.Texts("title"), Contains(HasSubstr(name)));
    EXPECT_THAT(Draw({Timing(name.substr(0, 52) + "_LOAD", "1 us")}).Texts("text"),
                Contains(name.substr(0, 52)));
}

TEST(StartPicture, MayHaveNoService) {
    const Xml picture = Draw({Timing("INIT", "2 ms")});
    EXPECT_THAT(picture.Texts("text"),
                Contains("The start of hearthd: no service has started by itself, 2 ms"));
}

TEST(StartPicture, HasRoomForHundredsOfServices) {
    std::vector<std::string> lines;
    for (int i = 0; i < 300; ++i) {
        lines.push_back(Timing("s" + std::to_string(i) + "_LOAD", "1 ms"));
        lines.push_back(Timing("s" + std::to_string(i) + "_START", "1 ms"));
    }
    const Xml picture = Draw(lines);
    const std::vector<Element> starts = picture.Of("rect", "start");
    ASSERT_EQ(starts.size(), 301U);
    const std::string viewBox = picture.elements.front().attributes.at("viewBox");
    const double height = std::stod(viewBox.substr(viewBox.rfind(' ')));
    const double width = std::stod(viewBox.substr(std::string("0 0 ").size()));
    EXPECT_LT(starts.back().Number("y") + starts.back().Number("height"), height);
    for (const Element& element : picture.elements) {
        if (element.name == "rect" && element.attributes.contains("x")) {
            EXPECT_LE(element.Number("x") + element.Number("width"), width);
        }
    }
}

TEST(StartPicture, HasRoundTimesOnItsAxis) {
    const auto ticks = [](const std::string& time) {
        std::vector<std::string> texts;
        for (const Element& tick : Draw({Timing("INIT", time)}).Of("text", "tick")) {
            texts.push_back(tick.text);
        }
        return texts;
    };
    EXPECT_THAT(ticks("0 us"), ElementsAre("0 us", "1 us"));
    EXPECT_THAT(ticks("730 us"), ElementsAre("0 us", "100 us", "200 us", "300 us", "400 us",
                                             "500 us", "600 us", "700 us"));
    EXPECT_THAT(ticks("15 ms"),
                ElementsAre("0 ms", "2 ms", "4 ms", "6 ms", "8 ms", "10 ms", "12 ms", "14 ms"));
    EXPECT_THAT(ticks("10500 ms"), ElementsAre("0 s", "2 s", "4 s", "6 s", "8 s", "10 s"));
}

TEST(StartPicture, NeedsNothingFromElsewhereAndHasColoursForDarkScreens) {
    const std::string text = DrawStart(LastStart({Timing("INIT", "2 ms")}).value());
    EXPECT_THAT(text, HasSubstr("@media (prefers-color-scheme: dark)"));
    EXPECT_THAT(text, Not(HasSubstr("href")));
    EXPECT_THAT(text, Not(HasSubstr("url(")));
    EXPECT_THAT(text, Not(HasSubstr("@import")));
}

} // namespace
