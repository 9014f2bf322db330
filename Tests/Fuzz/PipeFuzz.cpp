// SPDX-License-Identifier: Apache-2.0

// A libFuzzer target: any bytes that somebody writes into the debug shell's pipe, in the blocks in
// which they are read. Each line reaches the messenger that its first word names, and a command
// sees of it what the words are.

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <json/json.h>

#include "Dlog.h"
#include "Fuzz.h"
#include "FuzzCheck.h"
#include "ICommand.h"
#include "LogCapture.h"
#include "Messenger.h"
#include "PrivateMember.h"
#include "StreamIPC.h"

using Messengers = std::map<std::string, marrow::dbg::Messenger*>;

namespace pipe_fuzz {

struct HandleLines
    : PrivateMember<HandleLines, void (marrow::dbg::StreamIPC::*)(const std::string&)> {};
struct AllMessengers : PrivateMember<AllMessengers, Messengers marrow::dbg::StreamIPC::*> {};

} // namespace pipe_fuzz
template struct ExposeMember<pipe_fuzz::HandleLines, &marrow::dbg::StreamIPC::HandleLines>;
template struct ExposeMember<pipe_fuzz::AllMessengers, &marrow::dbg::StreamIPC::m_messengers>;

namespace {

using marrow::dbg::StreamIPC;
using Quill::TCMessage;
using Texts = std::vector<std::string>;

constexpr const char* TAG = "service-command";

// Answers with what it was given, and keeps it.
class Listener : public marrow::dbg::ICommand {
public:
    Listener() : ICommand(TAG) {}
    TCMessage OnMessage(TCMessage& message) override {
        heard.push_back(message.payload);
        return message;
    }
    std::vector<Json::Value> heard;
};

// What stands between two of these bytes; runs of them count as one.
Texts Split(const std::string& text, char separator) {
    Texts pieces;
    std::istringstream stream(text);
    for (std::string piece; std::getline(stream, piece, separator);) {
        if (!piece.empty()) {
            pieces.push_back(piece);
        }
    }
    return pieces;
}

// What one read brings ends at a NUL.
Texts Blocks(std::span<const std::uint8_t> input) {
    Texts blocks;
    while (!input.empty()) {
        const std::size_t size = std::min<std::size_t>(input.size(), StreamIPC::FIFO_BUFFER_SIZE);
        const std::string block(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(size));
        blocks.push_back(block.substr(0, block.find('\0')));
        input = input.subspan(size);
    }
    return blocks;
}

struct Expected {
    std::size_t lines = 0;
    std::size_t malformed = 0;
    Texts tags = {TAG};
    std::vector<Json::Value> heard;
};

Expected Read(const Texts& blocks) {
    Expected expected;
    for (const std::string& block : blocks) {
        for (const std::string& line : Split(block, '\n')) {
            const Texts words = Split(line, ' ');
            const bool isWhole = words.size() >= 2;
            ++expected.lines;
            expected.malformed += isWhole ? 0 : 1;
            expected.tags.push_back(isWhole ? words[0] : "");
            if (isWhole && words[0] == TAG) {
                Json::Value& payload = expected.heard.emplace_back();
                payload["command"] = words[0];
                payload["function"] = words[1];
                payload["service"] = words.size() > 2 ? words[2] : "";
            }
        }
    }
    std::sort(expected.tags.begin(), expected.tags.end());
    expected.tags.erase(std::unique(expected.tags.begin(), expected.tags.end()),
                        expected.tags.end());
    return expected;
}

// The channel of the process, which nobody starts: its worker reads no pipe.
StreamIPC& Channel() {
    static auto* const channel = new StreamIPC;
    return *channel;
}

// A tag that came in once keeps its messenger.
Texts TakeTags() {
    Texts tags;
    for (const auto& [tag, messenger] : Channel().*MemberOf(pipe_fuzz::AllMessengers())) {
        tags.push_back(tag);
    }
    for (std::string& tag : tags) {
        Channel().DeleteMessenger(tag);
    }
    return tags;
}

} // namespace

int FuzzPipe(std::span<const std::uint8_t> input) {
    const Texts blocks = Blocks(input);
    const Expected expected = Read(blocks);
    Listener listener;
    Channel().GetMessenger(TAG)->Register(&listener);
    LogCapture::Clear();
    for (const std::string& block : blocks) {
        (Channel().*MemberOf(pipe_fuzz::HandleLines()))(block);
    }
    Require(listener.heard == expected.heard, "the command hears its lines' words");
    Require(TakeTags() == expected.tags, "each first word has its messenger");
    Require(static_cast<std::size_t>(LogCapture::CountBeginning(
                DLOG_ERROR, "Incorrect command: ")) == expected.malformed,
            "a line that is none is told");
    Require(static_cast<std::size_t>(LogCapture::CountBeginning(
                DLOG_INFO, "Response from command execution: ")) == expected.lines,
            "each line has its answer");
    return 0;
}
