// SPDX-License-Identifier: Apache-2.0
#include "CallVerbs.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <unistd.h>

#include <json/reader.h>

#include "Client.h"
#include "Latencies.h"
#include "Output.h"
#include "TextFile.h"

namespace hearthctl {

using Quill::TCMessage;

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* ERROR_KEY = "return_error";

std::string ReadText(const std::string& arguments) {
    if (arguments == "-") {
        return {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
    }
    if (!arguments.starts_with('@')) {
        return arguments;
    }
    const std::string path = arguments.substr(1);
    const std::optional<std::string> text = ReadTextFile(path);
    if (!text) {
        throw Failure(ExitStatus::USAGE, "cannot read " + path + ": " + strerror(errno));
    }
    return *text;
}

TCMessage MakeMessage(const std::string& service, const std::string& arguments) {
    TCMessage message;
    message.subject = service;
    const std::string text = ReadText(arguments);
    if (text.find_first_not_of(" \t\r\n") == std::string::npos) {
        return message;
    }
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    bool parsed = false;
    try {
        parsed = reader->parse(text.data(), text.data() + text.size(), &message.payload, &errors);
    } catch (const Json::Exception& exception) { // where it nests too deep
        errors = exception.what();
    }
    if (!parsed) {
        throw Failure(ExitStatus::USAGE, "the arguments are no JSON:\n" + errors);
    }
    if (!message.payload.isObject()) {
        throw Failure(ExitStatus::USAGE, "the arguments must be a JSON object, as in "
                                         "'{\"text\": \"hello\"}'");
    }
    return message;
}

bool IsError(const TCMessage& reply) {
    return reply.payload.isObject() && reply.payload.isMember(ERROR_KEY);
}

// A bar on standard error, drawn anew a few times a second, and gone at the end.
class Progress {
public:
    explicit Progress(int total) : m_total(total), m_shown(IsTerminal(STDERR_FILENO)) {}
    ~Progress() {
        if (m_drawn) {
            std::cerr << "\r\x1b[K" << std::flush;
        }
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Show(int done) {
        const Clock::time_point now = Clock::now();
        if (!m_shown || now < m_next) {
            return;
        }
        constexpr int WIDTH = 40;
        const int filled = static_cast<int>(static_cast<long>(WIDTH) * done / m_total);
        std::cerr << "\r[" << std::string(static_cast<std::size_t>(filled), '#')
                  << std::string(static_cast<std::size_t>(WIDTH - filled), '.') << "] " << done
                  << " of " << m_total << std::flush;
        m_drawn = true;
        m_next = now + std::chrono::milliseconds(100);
    }

private:
    const int m_total;
    const bool m_shown;
    bool m_drawn = false;
    Clock::time_point m_next;
};

ExitStatus CallRepeatedly(Client& client, const TCMessage& message, const CallOptions& options) {
    Latencies latencies;
    const Clock::time_point begin = Clock::now();
    {
        Progress progress(options.repeat);
        for (int done = 0; done < options.repeat; ++done) {
            progress.Show(done);
            const Clock::time_point sent = Clock::now();
            const TCMessage reply = client.Call(Client::ROUTER, message, options.timeout);
            latencies.Add(Clock::now() - sent, IsError(reply));
        }
    }
    const Clock::duration total = Clock::now() - begin;
    if (options.json) {
        std::cout << CompactJson(latencies.Summary(total)) << '\n';
    } else {
        latencies.PrintSummary(total);
    }
    return latencies.Failed() == 0 ? ExitStatus::OK : ExitStatus::FAILED;
}

} // namespace

ExitStatus Call(const CallOptions& options) {
    const TCMessage message = MakeMessage(options.service, options.arguments);
    Client client;
    if (options.repeat > 1) {
        return CallRepeatedly(client, message, options);
    }
    const TCMessage reply = client.Call(Client::ROUTER, message, options.timeout);
    const bool indented = !options.json && IsTerminal(STDOUT_FILENO);
    std::cout << (indented ? IndentedJson(reply.payload) : CompactJson(reply.payload)) << '\n';
    return IsError(reply) ? ExitStatus::FAILED : ExitStatus::OK;
}

ExitStatus Signal(const std::string& service, const std::string& arguments) {
    const TCMessage message = MakeMessage(service, arguments);
    Client client;
    client.RequireDaemon();
    client.SendToRouter(message);
    return ExitStatus::OK;
}

} // namespace hearthctl
