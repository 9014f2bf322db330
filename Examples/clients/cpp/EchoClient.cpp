// SPDX-License-Identifier: Apache-2.0

// A client: has the service "echo" repeat a text, and shows what the service "clock" publishes,
// COUNT times.
//
//     echo-client TEXT [COUNT]
//
// Exit status: 0 done, 1 failed, 2 usage, 3 no daemon or no bus.

#include <charconv>
#include <cstring>
#include <iostream>
#include <latch>
#include <string>

#include <hearthd/HearthClient.h>

namespace {

// A reply is what the service's author has it be: look at a value's type before you use it.
void Echo(hearthd::Client& client, const std::string& text) {
    Json::Value arguments;
    arguments["text"] = text;
    const Json::Value reply = client.Call("echo", arguments);
    if (!reply.isObject() || !reply["text"].isString()) {
        throw std::runtime_error("echo answers otherwise than expected: " + reply.toStyledString());
    }
    std::cout << reply["text"].asString() << std::endl;
}

void ShowClock(hearthd::Client& client, int count) {
    std::latch left(count);
    int shown = 0; // the listener's own: it runs on one thread
    const hearthd::Subscription subscription =
        client.Listen("clock", [&](const hearthd::Notification& notification) {
            const Json::Value& seconds = notification.payload["seconds"];
            if (!seconds.isInt64() || shown == count) { // one more may come ahead of the end
                return;
            }
            ++shown;
            std::cout << "clock: " << seconds.asInt64() << std::endl;
            left.count_down();
        });
    left.wait();
}

int StatusOf(hearthd::Reason reason) {
    switch (reason) {
    case hearthd::Reason::NO_BUS:
    case hearthd::Reason::NO_DAEMON:
        return 3;
    default:
        return 1;
    }
}

} // namespace

int main(int words, char** arguments) {
    int count = 0;
    if (words == 3) {
        const char* const end = arguments[2] + std::strlen(arguments[2]);
        const auto [rest, error] = std::from_chars(arguments[2], end, count);
        words = error == std::errc() && rest == end && count >= 0 ? words : 0;
    }
    if (words != 2 && words != 3) {
        std::cerr << "usage: echo-client TEXT [COUNT]\n";
        return 2;
    }
    try {
        hearthd::Client client;
        Echo(client, arguments[1]);
        ShowClock(client, count);
        return 0;
    } catch (const hearthd::Failure& failure) {
        std::cerr << "echo-client: " << failure.what() << '\n';
        return StatusOf(failure.Why());
    } catch (const std::exception& exception) {
        std::cerr << "echo-client: " << exception.what() << '\n';
        return 1;
    }
}
