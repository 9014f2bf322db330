// SPDX-License-Identifier: Apache-2.0

// The static probes that tracers know by name, in the daemon and in its bus library.

#include <array>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace {

// By provider, the names of the probes of a program or library.
std::map<std::string, std::set<std::string>> ProbesOf(const std::string& file) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> notes(
        popen(("readelf -nW " + file).c_str(), "r"), pclose);
    std::map<std::string, std::set<std::string>> probes;
    std::string provider;
    std::array<char, 1024> buffer{};
    while (notes && std::fgets(buffer.data(), buffer.size(), notes.get()) != nullptr) {
        const std::string line = buffer.data();
        const auto valueOf = [&line](const std::string& field) {
            const auto at = line.find(field);
            return at == std::string::npos
                       ? std::string()
                       : line.substr(at + field.size(), line.find('\n') - at - field.size());
        };
        if (const std::string found = valueOf("Provider: "); !found.empty()) {
            provider = found;
        } else if (const std::string name = valueOf("Name: "); !name.empty()) {
            probes[provider].insert(name);
        }
    }
    return probes;
}

TEST(Probes, OfTheDaemonTellOfEventsJobsAndStarts) {
    EXPECT_THAT(ProbesOf(HEARTHD_EXECUTABLE)["hearthd"],
                testing::UnorderedElementsAre("event_in", "event_queued", "job_begun",
                                              "event_delivered", "library_opened",
                                              "service_started"));
}

TEST(Probes, OfTheBusLibraryFollowAMessage) {
    EXPECT_THAT(ProbesOf(QUILL_LIBRARY)["quill"],
                testing::UnorderedElementsAre("message_in", "message_queued", "message_begun",
                                              "message_ended", "reply_out"));
}

} // namespace
