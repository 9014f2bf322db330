// SPDX-License-Identifier: Apache-2.0
#include "Media.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

#include "Program.h"

namespace {

constexpr int NOT_FOUND = 127;
// Nothing here is as long or as large: a reader that doesn't find the end finds these.
constexpr const char* LONGEST = "60";
constexpr const char* LARGEST = "100M";

std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        std::erase(line, '\r');
        if (!line.empty()) {
            lines.push_back(line);
        }
    }
    return lines;
}

} // namespace

TemporaryFile::TemporaryFile(const streammaker::Bytes& bytes)
    : m_path((std::filesystem::temp_directory_path() / "hearthd-stream-XXXXXX").string()) {
    const int descriptor = mkstemp(m_path.data());
    if (descriptor < 0) {
        throw std::runtime_error("mkstemp " + m_path);
    }
    close(descriptor);
    const std::string text(bytes.begin(), bytes.end());
    std::ofstream(m_path, std::ios::binary) << text;
}

TemporaryFile::~TemporaryFile() {
    std::filesystem::remove(m_path);
}

std::string OutputOf(const std::vector<std::string>& words) {
    Program program(words);
    const int status = program.Wait();
    if (status == NOT_FOUND) {
        throw std::runtime_error(words.front() + " isn't installed (Build/packages.txt)");
    }
    EXPECT_EQ(status, 0) << words.front();
    EXPECT_EQ(program.Errors(), "") << words.front();
    return program.Output();
}

std::vector<std::string> Probe(const std::string& file, const std::vector<std::string>& options) {
    std::vector<std::string> words{"ffprobe", "-v", "error", "-of", "csv=p=0"};
    words.insert(words.end(), options.begin(), options.end());
    words.push_back(file);
    std::vector<std::string> lines = LinesOf(OutputOf(words));
    for (std::string& line : lines) { // where something was left out
        line.erase(line.find_last_not_of(',') + 1);
    }
    return lines;
}

void DecodeVideo(const std::string& file) {
    EXPECT_EQ(OutputOf({"ffmpeg", "-nostdin", "-v", "error", "-xerror", "-i", file, "-map", "0:v",
                        "-t", LONGEST, "-fs", LARGEST, "-f", "null", "-"}),
              "");
}

std::vector<std::string> CaptionTexts(const std::string& file) {
    const std::vector<std::string> lines = LinesOf(OutputOf(
        {"ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i", "movie=" + file + "[out0+subcc]",
         "-map", "0:s", "-t", LONGEST, "-fs", LARGEST, "-f", "srt", "-"}));
    static const std::regex number("[0-9]+");
    static const std::regex markup("<[^>]*>|\\{[^}]*\\}");
    std::vector<std::string> texts;
    for (const std::string& line : lines) {
        const bool isText = line.find(" --> ") == std::string::npos;
        if (isText && !std::regex_match(line, number)) {
            texts.push_back(std::regex_replace(line, markup, ""));
        }
    }
    return texts;
}
