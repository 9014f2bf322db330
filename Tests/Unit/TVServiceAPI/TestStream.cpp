// SPDX-License-Identifier: Apache-2.0
#include "TestStream.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>

TestStream* TestStream::s_current = nullptr;

TestStream::TestStream() {
    s_current = this;
    setenv("TVSERVICE_SETTINGS", (Folder() / "settings").c_str(), 1);
}

TestStream::~TestStream() {
    TVServiceAPI::DestroySignalSubscriber();
    TVServiceAPI::DestroySectionSubscriber();
    TVServiceAPI::DestroyProgramSubscriber();
    TVServiceAPI::DestroyDataSubscriber();
    TVServiceAPI::DestroyPESDataSubscriber();
    s_current = nullptr;
}

ISignalSubscriber& TestStream::Signals() {
    ISignalSubscriber* subscriber = nullptr;
    EXPECT_EQ(TVServiceAPI::CreateSignalSubscriber(OnSignal, &subscriber), 1);
    return *subscriber;
}

ISectionSubscriber& TestStream::Sections() {
    ISectionSubscriber* subscriber = nullptr;
    EXPECT_EQ(TVServiceAPI::CreateSectionSubscriber(OnSection, PROFILE_MAIN, 0, &subscriber), 1);
    return *subscriber;
}

IProgramSubscriber& TestStream::Programs() {
    IProgramSubscriber* subscriber = nullptr;
    EXPECT_EQ(TVServiceAPI::CreateProgramSubscriber(OnProgram, &subscriber), 1);
    return *subscriber;
}

IDataSubscriber& TestStream::Captions(EProfile profile, int screen) {
    IDataSubscriber* subscriber = nullptr;
    EXPECT_EQ(TVServiceAPI::CreateDataSubscriber(profile, screen, &subscriber), 1);
    return *subscriber;
}

IPESDataSubscriber& TestStream::Pes(EProfile profile, int screen) {
    IPESDataSubscriber* subscriber = nullptr;
    EXPECT_EQ(TVServiceAPI::CreatePESDataSubscriber(profile, screen, &subscriber), 1);
    return *subscriber;
}

std::string TestStream::WriteStream(const streammaker::Bytes& stream) {
    const std::filesystem::path path = Folder() / ("stream" + std::to_string(m_streams++) + ".ts");
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(stream.data()),
               static_cast<std::streamsize>(stream.size()));
    file.close();
    EXPECT_TRUE(file) << path;
    return path.string();
}

// At one go, so that no half a file is read.
void TestStream::WriteSettings(const std::string& text) {
    std::ofstream(Folder() / "settings.new") << text;
    std::filesystem::rename(Folder() / "settings.new", Folder() / "settings");
}

void TestStream::Play(const streammaker::Bytes& stream, const std::string& source,
                      const std::string& screens) {
    WriteSettings("[source]\naddress = " + WriteStream(stream) + "\n" + source + screens);
}

void TestStream::WaitForEnd() {
    signals.Wait([](const auto& entries) {
        return std::any_of(entries.begin(), entries.end(), [](const ReceivedSignal& entry) {
            return entry.signal == SIGNAL_END_OF_FILE;
        });
    });
}

int TestStream::OnSignal(ESignalType signal, EProfile profile, unsigned short screen,
                         TSSignalData data, void* user) {
    s_current->signals.Add({signal, profile, screen, data, user});
    return 0;
}

void TestStream::OnSection(bool flag, unsigned short size, unsigned char* data, int id) {
    const ReceivedSection section{flag, {data, data + size}, id};
    s_current->sections.Add(section);
    s_current->onSection(section);
}

void TestStream::OnProgram(EProgramChangeType type, TCProgramData* data, int param, int id) {
    s_current->programs.Add({type, *data, param, id});
}

void TestStream::AddCaption(TSCaption& caption, void* stream) {
    static_cast<TestStream*>(stream)->captions.Add(caption);
}

void TestStream::AddPes(TSPESData& data, void* stream) {
    static_cast<TestStream*>(stream)->pes.Add(data);
}

streammaker::Service TestService(std::uint16_t id, const std::string& name) {
    streammaker::Service service;
    service.id = id;
    service.name = name;
    service.provider = "Hearth";
    service.pmtPid = static_cast<std::uint16_t>(0x1000 + id);
    service.videoPid = static_cast<std::uint16_t>(0x100 + id);
    return service;
}

streammaker::Multiplex TestMultiplex(std::vector<streammaker::Service> services) {
    streammaker::Multiplex multiplex;
    multiplex.transportStreamId = 0x11;
    multiplex.originalNetworkId = 0x22;
    multiplex.services = std::move(services);
    return multiplex;
}
