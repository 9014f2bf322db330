// SPDX-License-Identifier: Apache-2.0

// make-stream: a small transport stream to try a television's services with.

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "Sample.h"
#include "StreamMaker.h"

namespace {

using streammaker::SampleOptions;
using streammaker::StreamMaker;
using streammaker::StreamTime;
using streammaker::VideoCodec;

constexpr int FAILED = 1;
constexpr int USAGE = 2;
constexpr const char* STANDARD_OUTPUT = "-";
constexpr const char* DESCRIPTION =
    "Makes a small MPEG transport stream of two services, \"Hearth One\" and \"Hearth Two\": gray\n"
    "video, captions (CEA-608) on the first and DVB subtitles on the second, and a guide whose\n"
    "present event changes in the middle of the stream.";
constexpr const char* FOOTER =
    "Exit status: 0 done, 1 the stream cannot be made or written, 2 usage.\n"
    "Example: make-stream /tmp/hearth.ts --seconds 60 --codec h264 --start 2024-05-01T20:00:00Z";

struct Arguments {
    std::string out;
    double seconds = 30;
    VideoCodec codec = VideoCodec::MPEG2;
    std::uint64_t rate = SampleOptions().muxRate;
    std::string start;
    bool noCaptions = false;
};

// Seconds since 1970 of a time such as 2024-05-01T20:00:00Z; nothing where it is none.
std::optional<std::int64_t> ParseUtc(const std::string& text) {
    std::tm parts{};
    std::istringstream stream(text);
    stream >> std::get_time(&parts, "%Y-%m-%dT%H:%M:%S");
    std::string zone;
    if (!stream || !(stream >> zone) || zone != "Z") {
        return std::nullopt;
    }
    // Not by time_t, which ends in January 2038 where it has 32 bits.
    namespace chrono = std::chrono;
    const chrono::year_month_day date =
        chrono::year(parts.tm_year + 1900) / (parts.tm_mon + 1) / parts.tm_mday;
    const chrono::sys_seconds utc = chrono::sys_days(date) + chrono::hours(parts.tm_hour) +
                                    chrono::minutes(parts.tm_min) + chrono::seconds(parts.tm_sec);
    const std::int64_t seconds = utc.time_since_epoch().count();
    if (seconds < 0 || !date.ok() || parts.tm_sec > 59) {
        return std::nullopt;
    }
    return seconds;
}

// CLI11's Range takes "nan", which lies nowhere.
std::string CheckIsNumber(const std::string& text) {
    return std::isnan(std::strtod(text.c_str(), nullptr)) ? "not a number: " + text : "";
}

std::string CheckUtc(const std::string& text) {
    const std::optional<std::int64_t> utc = ParseUtc(text);
    if (!utc) {
        return "not a time such as 2024-05-01T20:00:00Z: " + text;
    }
    constexpr std::int64_t LATEST = 2154902400; // a week ahead of the last day that 16 bits count
    return *utc > LATEST ? "a stream's dates end in April 2038: " + text : "";
}

SampleOptions OptionsOf(const Arguments& arguments) {
    SampleOptions options;
    options.duration =
        std::chrono::duration_cast<StreamTime>(std::chrono::duration<double>(arguments.seconds));
    options.codec = arguments.codec;
    options.muxRate = arguments.rate;
    options.utcStart = arguments.start.empty() ? std::time(nullptr) : *ParseUtc(arguments.start);
    options.captions = !arguments.noCaptions;
    return options;
}

void WriteStream(const StreamMaker& maker, StreamTime duration, std::ostream& stream,
                 const std::string& name) {
    errno = 0;
    try {
        maker.Write(stream, duration);
        stream.flush();
    } catch (const std::runtime_error&) {
        if (stream) {
            throw; // of the making
        }
    }
    if (!stream) {
        throw std::runtime_error("cannot write " + name + ": " + std::strerror(errno));
    }
}

void Make(const Arguments& arguments) {
    const SampleOptions options = OptionsOf(arguments);
    const StreamMaker maker = streammaker::MakeSample(options);
    if (arguments.out == STANDARD_OUTPUT) {
        if (isatty(STDOUT_FILENO) == 1) {
            throw std::runtime_error("a stream isn't for a terminal: name a file");
        }
        WriteStream(maker, options.duration, std::cout, "standard output");
        return;
    }
    maker.Try(options.duration); // ahead of what the file holds so far
    errno = 0;
    std::ofstream file(arguments.out, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot open " + arguments.out + ": " + std::strerror(errno));
    }
    WriteStream(maker, options.duration, file, arguments.out);
}

void AddOptions(CLI::App& app, Arguments& arguments) {
    app.add_option("OUT", arguments.out, "The file to write, or - for standard output")->required();
    app.add_option("--seconds", arguments.seconds, "How long the stream is")
        ->capture_default_str()
        ->check(CLI::Range(1.0, 86400.0))
        ->check(CheckIsNumber);
    static const std::map<std::string, VideoCodec> codecs{{"mpeg2", VideoCodec::MPEG2},
                                                          {"h264", VideoCodec::H264}};
    app.add_option("--codec", arguments.codec, "The video's codec: mpeg2 (as without it) or h264")
        ->transform(CLI::CheckedTransformer(codecs).description("CODEC"));
    app.add_option("--rate", arguments.rate, "Bits a second")
        ->capture_default_str()
        ->check(CLI::Range(100'000, 100'000'000));
    app.add_option("--start", arguments.start,
                   "The stream's time at its begin, UTC, as 2024-05-01T20:00:00Z (without it: now)")
        ->check(CLI::Validator(CheckUtc, "UTC"));
    app.add_flag("--no-captions", arguments.noCaptions, "Leaves the captions out");
}

// Throws what keeps the stream from being made.
int RunProgram(int count, char** words) {
    Arguments arguments;
    CLI::App app(DESCRIPTION, "make-stream");
    app.footer(FOOTER);
    AddOptions(app, arguments);
    try {
        app.parse(count, words);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : USAGE;
    }
    Make(arguments);
    return 0;
}

} // namespace

int main(int count, char** words) {
    try {
        return RunProgram(count, words);
    } catch (const std::exception& exception) {
        std::cerr << "make-stream: " << exception.what() << '\n';
        return FAILED;
    }
}
