// SPDX-License-Identifier: Apache-2.0
#include "StartPicture.h"

#include <algorithm>
#include <cstdint>
#include <glib.h>
#include <memory>
#include <sstream>
#include <utility>

#include "Output.h"
#include "StartText.h"
#include "StartTimeline.h"

namespace hearthctl {

namespace {

using State = ServiceStart::State;

// In the picture's own units; a browser scales it to its window.
constexpr double WIDTH = 960;
constexpr double AXIS_BEGIN = 200;
constexpr double AXIS_WIDTH = 520; // to the right of it is room for the last bar's text
constexpr double HEAD = 76;
constexpr double ROW = 22;
constexpr double BAR = 14;
constexpr double FOOT = 34;
constexpr double LEAST_BAR = 1.5; // what is too short for its length is still seen
constexpr glong LONGEST_NAME = 26;

constexpr const char* STYLE = R"(<style>
text { font: 13px system-ui, sans-serif; fill: #1f2328 }
.back { fill: #ffffff }
.title { font-size: 16px; font-weight: 600 }
.tick, .note { font-size: 12px; fill: #59636e }
.longest { font-weight: 700 }
.trouble { fill: #b3261e }
line { stroke: #d1d9e0 }
.init { fill: #818b98 }
.load { fill: #c77700 }
.start { fill: #0969da }
.open { fill: none; stroke: #b3261e; stroke-width: 1.5; stroke-dasharray: 4 3 }
@media (prefers-color-scheme: dark) {
text { fill: #e6edf3 }
.back { fill: #0d1117 }
.tick, .note { fill: #9198a1 }
.trouble { fill: #ff8b80 }
line { stroke: #2f3742 }
.load { fill: #e09b13 }
.start { fill: #4493f8 }
.open { stroke: #ff8b80 }
}
</style>
)";

using GText = std::unique_ptr<char, decltype(&g_free)>;

// UTF-8 with nothing in it that XML can't hold.
std::string CleanText(const std::string& text) {
    const std::string printable = Printable(text);
    const GText valid(g_utf8_make_valid(printable.data(), static_cast<gssize>(printable.size())),
                      g_free);
    std::string clean = valid.get();
    for (const char* nonCharacter : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
        for (std::size_t at = clean.find(nonCharacter); at != std::string::npos;
             at = clean.find(nonCharacter, at)) {
            clean.replace(at, 3, "?");
        }
    }
    return clean;
}

std::string Escaped(const std::string& text) {
    const std::string clean = CleanText(text);
    return GText(g_markup_escape_text(clean.data(), static_cast<gssize>(clean.size())), g_free)
        .get();
}

// So that it fits ahead of the axis.
std::string Shortened(const std::string& name) {
    std::string clean = CleanText(name);
    if (g_utf8_strlen(clean.c_str(), -1) <= LONGEST_NAME) {
        return clean;
    }
    return GText(g_utf8_substring(clean.c_str(), 0, LONGEST_NAME - 1), g_free).get() +
           std::string("…");
}

// One run.
class Picture {
public:
    explicit Picture(const DaemonStart& start)
        : m_start(start), m_timeline(PlaceOnAxis(start)),
          m_length(std::max(m_timeline.length, Microseconds(1))) {
        const auto longest =
            std::max_element(m_timeline.services.begin(), m_timeline.services.end(),
                             [](const auto& a, const auto& b) { return a.Sum() < b.Sum(); });
        m_longest = static_cast<std::size_t>(longest - m_timeline.services.begin());
        m_text.precision(1);
        m_text << std::fixed;
    }

    std::string Draw() {
        const auto rows = m_start.services.size() + (m_timeline.init ? 1 : 0);
        m_bottom = HEAD + ROW * static_cast<double>(rows);
        m_text << R"(<?xml version="1.0" encoding="UTF-8"?>
<svg xmlns="http://www.w3.org/2000/svg" width="100%" viewBox="0 0 )"
               << WIDTH << ' ' << m_bottom + FOOT
               << "\" role=\"figure\" aria-labelledby=\"title\">\n"
               << "<title id=\"title\">The start of hearthd</title>\n"
               << STYLE << R"(<rect class="back" width="100%" height="100%"/>)" << '\n';
        DrawHead();
        DrawAxis();
        m_text << "<g role=\"list\">\n";
        DrawInit();
        for (std::size_t i = 0; i < m_start.services.size(); ++i) {
            DrawService(i);
        }
        m_text << "</g>\n</svg>\n";
        return m_text.str();
    }

private:
    void DrawHead() {
        const std::size_t count = m_start.services.size();
        std::string title = count == 0   ? "no service has started by itself"
                            : count == 1 ? "1 service"
                                         : std::to_string(count) + " services";
        title = "The start of hearthd: " + title + ", " + TimeText(m_timeline.length);
        Text(16, 26, "title", title);
        double x = 16;
        for (const auto& [kind, words] :
             {std::pair("init", "the daemon itself"), std::pair("load", "load"),
              std::pair("start", "start"), std::pair("open", "not ended, or failed")}) {
            Bar(kind, x, 18, 38);
            Text(x + 24, 50, "note", words);
            x += kind == std::string("init") ? 150 : 80;
        }
    }

    // At round times, of which eight or fewer fit.
    void DrawAxis() {
        const std::int64_t step = Step();
        for (std::int64_t time = 0; time <= m_length.count(); time += step) {
            const double x = X(Microseconds(time));
            m_text << "<line x1=\"" << x << "\" y1=\"" << HEAD - 4 << "\" x2=\"" << x << "\" y2=\""
                   << m_bottom + 4 << "\"/>\n";
            const std::string unit = step < 1000 ? " us" : step < 1'000'000 ? " ms" : " s";
            const std::int64_t divisor = step < 1000 ? 1 : step < 1'000'000 ? 1000 : 1'000'000;
            Text(x, m_bottom + 20, "tick", std::to_string(time / divisor) + unit, "middle");
        }
    }

    std::int64_t Step() const {
        constexpr std::int64_t MOST_STEPS = 8;
        for (std::int64_t power = 1;; power *= 10) {
            for (const std::int64_t factor : {1, 2, 5}) {
                if (factor * power * MOST_STEPS >= m_length.count()) {
                    return factor * power;
                }
            }
        }
    }

    void DrawInit() {
        if (!m_timeline.init) {
            return;
        }
        const Span& span = *m_timeline.init;
        BeginRow("hearthd itself: " + TimeText(m_start.init.took));
        Text(AXIS_BEGIN - 8, m_row + BAR - 3, "note", "the daemon itself", "end");
        Bar("init", span, m_row);
        Text(End(span) + 6, m_row + BAR - 3, "note", TimeText(m_start.init.took));
        EndRow();
    }

    void DrawService(std::size_t index) {
        const ServiceStart& service = m_start.services[index];
        const Timeline::Service& at = m_timeline.services[index];
        const std::string words = Words(service, at, index == m_longest);
        const char* const kind = service.state != State::STARTED ? "trouble"
                                 : index == m_longest            ? "longest"
                                                                 : "row";
        BeginRow(service.name + ": " + words);
        Text(AXIS_BEGIN - 8, m_row + BAR - 3, kind, Shortened(service.name), "end");
        Bar(service.state == State::LOAD_FAILED ? "open" : "load", at.load, m_row);
        Span start = at.start;
        if (service.state == State::LOADED && index + 1 == m_start.services.size()) {
            start.end = m_length; // for all that is known it still goes on
        }
        if (service.state != State::LOAD_FAILED) {
            Bar(service.state == State::STARTED ? "start" : "open", start, m_row);
        }
        Text(std::max(End(at.load), End(start)) + 6, m_row + BAR - 3, kind, words);
        EndRow();
    }

    // "830 us + 12 ms, the longest".
    static std::string Words(const ServiceStart& service, const Timeline::Service& at,
                             bool longest) {
        std::string words;
        for (const auto& time : {TimeOf(service.load, at.load), TimeOf(service.start, at.start)}) {
            if (time) {
                words += (words.empty() ? "" : " + ") + TimeText(*time);
            }
        }
        if (const std::string trouble = TroubleText(service.state); !trouble.empty()) {
            words += (words.empty() ? "" : ", ") + trouble;
        }
        return longest ? words + ", the longest" : words;
    }

    void BeginRow(const std::string& description) {
        m_text << "<g role=\"listitem\"><title>" << Escaped(description) << "</title>\n";
    }

    void EndRow() {
        m_text << "</g>\n";
        m_row += ROW;
    }

    void Bar(const char* kind, const Span& span, double y) {
        Bar(kind, X(span.begin), End(span) - X(span.begin), y);
    }

    void Bar(const char* kind, double x, double width, double y) {
        m_text << "<rect class=\"" << kind << "\" x=\"" << x << "\" y=\"" << y << "\" width=\""
               << width << "\" height=\"" << BAR << "\"/>\n";
    }

    void Text(double x, double y, const char* kind, const std::string& text,
              const char* anchor = "start") {
        m_text << "<text class=\"" << kind << "\" x=\"" << x << "\" y=\"" << y
               << "\" text-anchor=\"" << anchor << "\">" << Escaped(text) << "</text>\n";
    }

    double X(Microseconds time) const {
        return AXIS_BEGIN + AXIS_WIDTH * static_cast<double>(time.count()) /
                                static_cast<double>(m_length.count());
    }
    double End(const Span& span) const { return std::max(X(span.end), X(span.begin) + LEAST_BAR); }

    const DaemonStart& m_start;
    const Timeline m_timeline;
    const Microseconds m_length;
    std::size_t m_longest = 0;
    double m_row = HEAD;
    double m_bottom = HEAD;
    std::ostringstream m_text;
};

} // namespace

std::string DrawStart(const DaemonStart& start) {
    return Picture(start).Draw();
}

} // namespace hearthctl
