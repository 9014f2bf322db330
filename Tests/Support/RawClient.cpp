// SPDX-License-Identifier: Apache-2.0
#include "RawClient.h"

#include <cstring>
#include <stdexcept>

#include <systemd/sd-bus.h>

#include "Patience.h"

namespace {

constexpr const char* PATH = "/quill/endpoint";
constexpr const char* INTERFACE = "quill.Endpoint1";
constexpr const char* BUS = "org.freedesktop.DBus";

int Check(int result, const char* what) {
    if (result < 0) {
        throw std::runtime_error(std::string(what) + ": " + strerror(-result));
    }
    return result;
}

std::uint64_t Microseconds(std::chrono::seconds limit) {
    return static_cast<std::uint64_t>(std::chrono::microseconds(Patient(limit)).count());
}

void AppendStrings(sd_bus_message* message, const std::vector<std::string>& arguments) {
    for (const std::string& argument : arguments) {
        Check(sd_bus_message_append(message, "s", argument.c_str()), "append");
    }
}

std::vector<std::string> ReadStrings(sd_bus_message* message) {
    std::vector<std::string> strings;
    const char* string = nullptr;
    while (sd_bus_message_at_end(message, 1) == 0 &&
           sd_bus_message_read(message, "s", &string) > 0) {
        strings.emplace_back(string);
    }
    return strings;
}

// Takes over `message`.
RawClient::Reply CallAndRead(sd_bus* bus, sd_bus_message* message, std::uint64_t limit) {
    RawClient::Reply reply;
    sd_bus_error error{nullptr, nullptr, 0};
    sd_bus_message* answer = nullptr;
    const int result = sd_bus_call(bus, message, limit, &error, &answer);
    sd_bus_message_unref(message);
    if (result < 0) {
        reply.error = error.name == nullptr ? strerror(-result) : error.name;
        reply.errorText = error.message == nullptr ? "" : error.message;
    } else {
        const std::vector<std::string> strings = ReadStrings(answer);
        reply.subject = !strings.empty() ? strings[0] : "";
        reply.payload = strings.size() > 1 ? strings[1] : "";
    }
    sd_bus_error_free(&error);
    sd_bus_message_unref(answer);
    return reply;
}

sd_bus_message* NewCall(sd_bus* bus, const std::string& destination, const char* path = PATH,
                        const char* interface = INTERFACE, const char* member = "Call") {
    sd_bus_message* message = nullptr;
    Check(
        sd_bus_message_new_method_call(bus, &message, destination.c_str(), path, interface, member),
        "new call");
    return message;
}

} // namespace

RawClient::RawClient() {
    Check(sd_bus_open_system(&m_bus), "open");
    // Waits for the bus, which closes a connection that says nothing for half a minute.
    const char* name = nullptr;
    const int result = sd_bus_get_unique_name(m_bus, &name);
    if (result < 0) {
        sd_bus_close_unref(m_bus);
    }
    Check(result, "introduction");
}

RawClient::~RawClient() {
    sd_bus_flush_close_unref(m_bus);
}

std::string RawClient::UniqueName() const {
    const char* name = nullptr;
    Check(sd_bus_get_unique_name(m_bus, &name), "unique name");
    return name;
}

void RawClient::RequestName(const std::string& name) {
    Check(sd_bus_request_name(m_bus, name.c_str(), 0), "request name");
}

void RawClient::ReleaseName(const std::string& name) {
    Check(sd_bus_release_name(m_bus, name.c_str()), "release name");
}

bool RawClient::NameHasOwner(const std::string& name) {
    sd_bus_message* answer = nullptr;
    int has = 0;
    Check(sd_bus_call_method(m_bus, BUS, "/org/freedesktop/DBus", BUS, "NameHasOwner", nullptr,
                             &answer, "s", name.c_str()),
          "NameHasOwner");
    Check(sd_bus_message_read(answer, "b", &has), "read");
    sd_bus_message_unref(answer);
    return has != 0;
}

RawClient::Reply RawClient::Call(const std::string& destination, const std::string& subject,
                                 const std::string& payload, std::chrono::seconds limit) {
    sd_bus_message* const message = NewCall(m_bus, destination);
    AppendStrings(message, {subject, payload});
    return CallAndRead(m_bus, message, Microseconds(limit));
}

void RawClient::Send(const std::string& destination, const std::string& subject,
                     const std::string& payload, bool noReply) {
    sd_bus_message* const message = NewCall(m_bus, destination);
    AppendStrings(message, {subject, payload});
    Check(sd_bus_message_set_expect_reply(message, noReply ? 0 : 1), "flag");
    const int result = sd_bus_send(m_bus, message, nullptr);
    sd_bus_message_unref(message);
    Check(result, "send");
    Check(sd_bus_flush(m_bus), "flush");
}

RawClient::Reply RawClient::CallMember(const std::string& destination, const std::string& path,
                                       const std::string& interface, const std::string& member,
                                       const std::vector<std::string>& arguments) {
    sd_bus_message* const message =
        NewCall(m_bus, destination, path.c_str(), interface.c_str(), member.c_str());
    AppendStrings(message, arguments);
    return CallAndRead(m_bus, message, Microseconds(std::chrono::seconds(30)));
}

RawClient::Reply RawClient::CallWithNumber(const std::string& destination, int number) {
    sd_bus_message* const message = NewCall(m_bus, destination);
    Check(sd_bus_message_append(message, "i", number), "append");
    return CallAndRead(m_bus, message, Microseconds(std::chrono::seconds(30)));
}

RawClient::Reply RawClient::CallWithDescriptor(const std::string& destination, int descriptor) {
    sd_bus_message* const message = NewCall(m_bus, destination);
    Check(sd_bus_message_append(message, "ssh", "", "{}", descriptor), "append");
    return CallAndRead(m_bus, message, Microseconds(std::chrono::seconds(30)));
}

void RawClient::SendSignal(const std::string& member, const std::vector<std::string>& arguments) {
    sd_bus_message* message = nullptr;
    Check(sd_bus_message_new_signal(m_bus, &message, PATH, INTERFACE, member.c_str()), "signal");
    AppendStrings(message, arguments);
    Check(sd_bus_send(m_bus, message, nullptr), "send");
    sd_bus_message_unref(message);
    Check(sd_bus_flush(m_bus), "flush");
}

void RawClient::SendSignalTo(const std::string& destination, const std::string& path,
                             const std::string& interface, const std::string& member,
                             const std::vector<std::string>& arguments) {
    sd_bus_message* message = nullptr;
    Check(
        sd_bus_message_new_signal(m_bus, &message, path.c_str(), interface.c_str(), member.c_str()),
        "signal");
    Check(sd_bus_message_set_destination(message, destination.c_str()), "destination");
    AppendStrings(message, arguments);
    Check(sd_bus_send(m_bus, message, nullptr), "send");
    sd_bus_message_unref(message);
    Check(sd_bus_flush(m_bus), "flush");
}

std::string RawClient::Introspect(const std::string& destination) {
    sd_bus_message* const message =
        NewCall(m_bus, destination, PATH, "org.freedesktop.DBus.Introspectable", "Introspect");
    return CallAndRead(m_bus, message, Microseconds(std::chrono::seconds(30))).subject;
}

void RawClient::Match(const std::string& rule) {
    const auto collect = [](sd_bus_message* message, void* self, sd_bus_error*) {
        static_cast<RawClient*>(self)->m_signals.push_back({sd_bus_message_get_sender(message),
                                                            sd_bus_message_get_member(message),
                                                            ReadStrings(message)});
        return 0;
    };
    Check(sd_bus_add_match(m_bus, nullptr, rule.c_str(), collect, this), "match");
}

std::optional<RawClient::Signal> RawClient::Next(std::chrono::seconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + Patient(limit);
    while (m_signals.empty()) {
        const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return std::nullopt;
        }
        if (Check(sd_bus_process(m_bus, nullptr), "process") == 0) {
            Check(sd_bus_wait(m_bus, static_cast<std::uint64_t>(left.count())), "wait");
        }
    }
    Signal signal = m_signals.front();
    m_signals.erase(m_signals.begin());
    return signal;
}
