// SPDX-License-Identifier: Apache-2.0
#include "CallVerbs.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <unistd.h>

#include <hearthd/HearthClient.h>
#include <json/reader.h>

#include "Latencies.h"
#include "Output.h"
#include "TextFile.h"

namespace hearthctl {

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

Json::Value ParseArguments(const std::string& arguments) {
    Json::Value value;
    const std::string text = ReadText(arguments);
    if (text.find_first_not_of(" \t\r\n") == std::string::npos) {
        return value;
    }
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    bool parsed = false;
    try {
        parsed = reader->parse(text.data(), text.data() + text.size(), &value, &errors);
    } catch (const Json::Exception& exception) { // where it nests too deep
        errors = exception.what();
    }
    if (!parsed) {
        throw Failure(ExitStatus::USAGE, "the arguments are no JSON:\n" + errors);
    }
    if (!value.isObject()) {
        throw Failure(ExitStatus::USAGE, "the arguments must be a JSON object, as in "
                                         "'{\"text\": \"hello\"}'");
    }
    return value;
}

// A reply like any other: it is printed.
Json::Value Ask(hearthd::Client& client, const CallOptions& options, const Json::Value& arguments) {
    return client.CallEndpoint(hearthd::Client::ROUTER, options.service, arguments,
                               std::chrono::ceil<std::chrono::milliseconds>(options.timeout));
}

bool IsError(const Json::Value& reply) {
    return reply.isObject() && reply.isMember(ERROR_KEY);
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
        const int filled = static_cast<int>(std::int64_t{WIDTH} * done / m_total);
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

ExitStatus CallRepeatedly(hearthd::Client& client, const Json::Value& arguments,
                          const CallOptions& options) {
    Latencies latencies;
    const Clock::time_point begin = Clock::now();
    {
        Progress progress(options.repeat);
        for (int done = 0; done < options.repeat; ++done) {
            progress.Show(done);
            const Clock::time_point sent = Clock::now();
            const Json::Value reply = Ask(client, options, arguments);
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
    const Json::Value arguments = ParseArguments(options.arguments);
    hearthd::Client client;
    if (options.repeat > 1) {
        return CallRepeatedly(client, arguments, options);
    }
    const Json::Value reply = Ask(client, options, arguments);
    const bool indented = !options.json && IsTerminal(STDOUT_FILENO);
    std::cout << (indented ? IndentedJson(reply) : CompactJson(reply)) << '\n';
    return IsError(reply) ? ExitStatus::FAILED : ExitStatus::OK;
}

ExitStatus Signal(const std::string& service, const std::string& arguments) {
    const Json::Value value = ParseArguments(arguments);
    hearthd::Client client;
    client.RequireDaemon();
    client.Send(service, value);
    return ExitStatus::OK;
}

} // namespace hearthctl
