// SPDX-License-Identifier: Apache-2.0

// A libFuzzer target: any bytes as names and texts of the wire. What becomes of them is shown to
// the bus library, and compared with what GLib says of the same bytes.

#include <array>
#include <cstdint>
#include <cstdio>
#include <map>
#include <optional>
#include <sys/socket.h>
#include <unistd.h>

#include <glib.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-id128.h>

#include "Fuzz.h"
#include "FuzzCheck.h"
#include "WireText.h"

namespace {

namespace WireText = Quill::WireText;

constexpr gunichar REPLACEMENT = 0xFFFD;

// Two ends of a connection without a bus between them.
struct Ends {
    sd_bus* sender = nullptr;
    sd_bus* receiver = nullptr;
};

Ends Connect() {
    std::array<int, 2> sockets{};
    Ends ends;
    sd_id128_t id{};
    Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) == 0 &&
                sd_bus_new(&ends.sender) >= 0 && sd_bus_new(&ends.receiver) >= 0 &&
                sd_id128_randomize(&id) >= 0 && sd_bus_set_server(ends.sender, 1, id) >= 0 &&
                sd_bus_set_fd(ends.sender, sockets[0], sockets[0]) >= 0 &&
                sd_bus_set_fd(ends.receiver, sockets[1], sockets[1]) >= 0 &&
                sd_bus_start(ends.sender) >= 0 && sd_bus_start(ends.receiver) >= 0,
            "there is a connection");
    return ends;
}

const Ends& Connection() {
    static const Ends ends = Connect();
    return ends;
}

// Everything that is under way arrives: each end reads what the other has written.
void Settle() {
    for (int idle = 0; idle < 2;) {
        const bool isBusy = sd_bus_process(Connection().sender, nullptr) > 0 ||
                            sd_bus_process(Connection().receiver, nullptr) > 0;
        idle = isBusy ? 0 : idle + 1;
    }
}

bool IsTakenByTheBus(const std::string& text) {
    sd_bus_message* message = nullptr;
    Require(sd_bus_message_new_method_call(Connection().sender, &message, "a.b", "/", "a.b", "C") >=
                0,
            "there is a message");
    const bool isTaken = sd_bus_message_append(message, "s", text.c_str()) >= 0;
    sd_bus_message_unref(message);
    return isTaken && text.find('\0') == std::string::npos;
}

bool IsNoncharacter(gunichar c) {
    return (c >= 0xFDD0 && c <= 0xFDEF) || c % 0x10000 >= 0xFFFE;
}

std::string Escape(gunichar c) {
    std::array<char, 16> escape{};
    glong units = 0;
    gunichar2* const utf16 = g_ucs4_to_utf16(&c, 1, nullptr, &units, nullptr);
    std::string escapes;
    for (glong unit = 0; unit < units; ++unit) {
        std::snprintf(escape.data(), escape.size(), "\\u%04x", utf16[unit]);
        escapes += escape.data();
    }
    g_free(utf16);
    return escapes;
}

// A text as GLib takes it apart. How many marks stand for the bytes that are none is a matter of
// taste, so that these are counted and left out.
struct Pieces {
    std::string kept;
    std::size_t replaced = 0;
};

Pieces Take(const std::string& text, bool escapes) {
    Pieces pieces;
    char* const valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    char* next = valid;
    for (char* at = valid; *at != '\0'; at = next) {
        next = g_utf8_next_char(at);
        const gunichar c = g_utf8_get_char(at);
        if (c == REPLACEMENT || (IsNoncharacter(c) && !escapes)) {
            ++pieces.replaced;
        } else if (IsNoncharacter(c)) {
            pieces.kept += Escape(c);
        } else {
            pieces.kept.append(at, next);
        }
    }
    g_free(valid);
    return pieces;
}

void CheckText(const std::string& given, const std::string& valid, bool escapes) {
    Require(IsTakenByTheBus(valid), "the bus library takes it");
    const Pieces wanted = Take(given, escapes);
    const Pieces ours = Take(valid, false);
    Require(ours.kept == wanted.kept, "what is a character stays, and in its place");
    Require(ours.replaced <= wanted.replaced && (ours.replaced > 0) == (wanted.replaced > 0),
            "what is none leaves a mark");
    Require(!IsTakenByTheBus(given) || valid == given, "what is taken anyway stays as it is");
}

void CheckTexts(const std::string& text) {
    const std::string valid = WireText::ValidString(text);
    CheckText(text, valid, false);
    Require(WireText::ValidString(valid) == valid, "a text is made valid once");
    CheckText(text, WireText::ValidJson(text), true);
}

void CheckBusName(const std::string& name) {
    const std::string busName = WireText::BusName(name);
    const bool hasDot = name.find('.') != std::string::npos;
    const std::string wanted = (hasDot ? "" : "quill.") + name;
    const bool isOne = wanted.find('\0') == std::string::npos && wanted[0] != ':' &&
                       sd_bus_service_name_is_valid(wanted.c_str()) > 0;
    Require(busName == (isOne ? wanted : ""), "the bus name is that of the endpoint, or none");
    const std::string_view top = WireText::TopLevel(busName);
    Require(busName.empty() ? top.empty() : busName.starts_with(std::string(top) + "."),
            "the top level is the first element");
}

// A member's byte stands for itself, or is one of three.
std::string ExpectedMember(const std::string& name) {
    std::string member;
    for (const char c : name) {
        const bool isPlain =
            g_ascii_isalpha(c) || c == '_' || (g_ascii_isdigit(c) && !member.empty());
        std::array<char, 4> code{};
        std::snprintf(code.data(), code.size(), isPlain ? "%c" : "_%02x",
                      static_cast<unsigned char>(c));
        member += code.data();
    }
    return member.substr(0, 255);
}

void CheckMember(const std::string& name) {
    const std::string member = WireText::SignalMember(name);
    Require(member == ExpectedMember(name), "the member tells the name");
    Require(member.empty() || sd_bus_member_name_is_valid(member.c_str()) > 0, "the member is one");
}

// Whether a rule can have this name in it, for the bus and for its library alike.
bool CanBeInRule(const std::string& name) {
    return name.find_first_of("'\\") == std::string::npos;
}

// The rule's conditions, by the D-Bus standard's quoting; nothing where it is malformed.
using Conditions = std::map<std::string, std::string>;
std::optional<Conditions> ParseRule(const std::string& rule) {
    Conditions conditions;
    for (std::size_t at = 0; at < rule.size(); ++at) {
        const std::size_t sign = rule.find('=', at);
        if (sign == std::string::npos) {
            return std::nullopt;
        }
        std::string& value = conditions[rule.substr(at, sign - at)];
        bool isQuoted = false;
        for (at = sign + 1; at < rule.size() && (isQuoted || rule[at] != ','); ++at) {
            if (rule[at] == '\'') {
                isQuoted = !isQuoted;
            } else if (!isQuoted && rule[at] == '\\' && rule[at + 1] == '\'') {
                value += rule[++at];
            } else {
                value += rule[at];
            }
        }
        if (isQuoted) {
            return std::nullopt;
        }
    }
    return conditions;
}

void CheckRule(const std::string& rule, const std::string& sender, const std::string& name) {
    Conditions wanted{{"type", "signal"}, {"interface", WireText::INTERFACE}};
    if (!sender.empty()) {
        wanted["sender"] = sender;
    }
    if (!name.empty()) {
        wanted["member"] = WireText::SignalMember(name);
        if (CanBeInRule(name)) {
            wanted["arg0"] = name;
        }
    }
    Require(ParseRule(rule) == wanted, "the rule asks for this and nothing else: " + rule);
}

void Send(const std::string& name) {
    sd_bus_emit_signal(Connection().sender, WireText::OBJECT_PATH, WireText::INTERFACE,
                       WireText::SignalMember(name).c_str(), "s", name.c_str());
}

// From anybody: without a bus a signal has no sender.
void CheckDelivery(const std::string& name) {
    const std::string rule = WireText::SignalMatch("", name);
    int heard = 0;
    sd_bus_slot* slot = nullptr;
    const auto count = [](sd_bus_message* /*signal*/, void* times, sd_bus_error* /*error*/) {
        ++*static_cast<int*>(times);
        return 0;
    };
    Require(sd_bus_add_match(Connection().receiver, &slot, rule.c_str(), count, &heard) >= 0,
            "the bus library takes the rule: " + rule);
    Send(name);
    Send(name + "x");
    Settle();
    sd_bus_slot_unref(slot);
    const bool isTold =
        CanBeInRule(name) || WireText::SignalMember(name) != WireText::SignalMember(name + "x");
    Require(heard == (isTold ? 1 : 2), "the signal of this name is heard, and no other: " + rule);
}

void CheckRules(const std::string& text) {
    const std::string name = WireText::ValidString(text);
    const std::string sender = WireText::BusName(text);
    CheckRule(WireText::AllSignalsMatch(sender), sender, "");
    if (!name.empty()) {
        CheckDelivery(name);
        CheckRule(WireText::SignalMatch("", name), "", name);
        CheckRule(WireText::SignalMatch(sender, name), sender, name);
    }
}

} // namespace

int FuzzWire(std::span<const std::uint8_t> input) {
    const std::string text(input.begin(), input.end());
    CheckTexts(text);
    CheckBusName(text);
    CheckMember(text);
    CheckRules(text);
    return 0;
}
