// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <vector>

#include "StreamMaker.h"
#include "TVServiceAPI.h"
#include "TemporaryFolder.h"

/// What callbacks have brought, for a test that waits for it.
template <typename Entry>
class Received {
public:
    using Entries = std::vector<Entry>;

    void Add(Entry entry) {
        const std::scoped_lock lock(m_mutex);
        m_entries.push_back(std::move(entry));
        m_added.notify_all();
    }

    /// What has come, once `isEnough` says so of it; with a failure where that doesn't happen.
    Entries Wait(const std::function<bool(const Entries&)>& isEnough) {
        std::unique_lock lock(m_mutex);
        const bool came =
            m_added.wait_for(lock, std::chrono::seconds(30), [&] { return isEnough(m_entries); });
        EXPECT_TRUE(came) << "after " << m_entries.size() << " entries";
        return m_entries;
    }
    Entries WaitFor(std::size_t count) {
        return Wait([count](const Entries& entries) { return entries.size() >= count; });
    }
    Entries Now() {
        const std::scoped_lock lock(m_mutex);
        return m_entries;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_added;
    Entries m_entries;
};

struct ReceivedSignal {
    ESignalType signal;
    EProfile profile;
    unsigned short screen;
    TSSignalData data;
    void* user;
};
struct ReceivedSection {
    bool flag;
    std::vector<unsigned char> bytes;
    int id;
};
struct ReceivedProgram {
    EProgramChangeType type;
    TCProgramData data;
    int param;
    int id;
};

/// A stream of the test's behind the library's calls: with a settings file of its own, and all
/// subscribers destroyed at the end. The library's callbacks know no object, so that one test is
/// under way in a process.
class TestStream : public testing::Test {
protected:
    /// Once the file is played to its end.
    static constexpr const char* ONCE = "pace = fast\nloop = no\n";

    TestStream();
    ~TestStream() override;

    ISignalSubscriber& Signals();
    ISectionSubscriber& Sections();
    IProgramSubscriber& Programs();
    IDataSubscriber& Captions(EProfile profile = PROFILE_MAIN, int screen = 0);
    IPESDataSubscriber& Pes(EProfile profile = PROFILE_MAIN, int screen = 0);

    /// Has the library play these bytes from a file.
    void Play(const streammaker::Bytes& stream, const std::string& source = ONCE,
              const std::string& screens = "");
    void WriteSettings(const std::string& text);
    std::string WriteStream(const streammaker::Bytes& stream);
    const std::filesystem::path& Folder() const { return m_folder.Path(); }
    /// Until all of it has been handed out.
    void WaitForEnd();

    static void AddCaption(TSCaption& caption, void* stream);
    static void AddPes(TSPESData& data, void* stream);

    Received<ReceivedSignal> signals;
    Received<ReceivedSection> sections;
    Received<ReceivedProgram> programs;
    Received<TSCaption> captions;
    Received<TSPESData> pes;
    /// What a section's callback does besides, on the library's thread.
    std::function<void(const ReceivedSection&)> onSection = [](const ReceivedSection&) {};

private:
    static int OnSignal(ESignalType signal, EProfile profile, unsigned short screen,
                        TSSignalData data, void* user);
    static void OnSection(bool flag, unsigned short size, unsigned char* data, int id);
    static void OnProgram(EProgramChangeType type, TCProgramData* data, int param, int id);

    static TestStream* s_current;
    const TemporaryFolder m_folder;
    int m_streams = 0;
};

/// A service with what a test needs of it.
streammaker::Service TestService(std::uint16_t id, const std::string& name);
/// A multiplex of these services, transport_stream_id 0x11, original_network_id 0x22.
streammaker::Multiplex TestMultiplex(std::vector<streammaker::Service> services);
