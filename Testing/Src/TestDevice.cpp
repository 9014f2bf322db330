// SPDX-License-Identifier: Apache-2.0
#include "TestDevice.h"

#include "Host.h"
#include "KeyServer.h"
#include "Post.h"
#include "Television.h"
#include "VConfEventProxy.h"

namespace hearthd::testing {

namespace {

constexpr unsigned long KEY_PRESS = 2; // the type words of UtilX.h
constexpr unsigned long KEY_RELEASE = 3;

// Some proxies ask the platform on the main loop. Not only the event's own: a key may lead to a
// change that the service listens to.
void Settle() {
    SetUpHost();
    PassMainLoop();
}

template <typename Value>
bool SetConfigurationTo(const std::string& key, Value value) {
    Settle();
    return marrow::evt::VConfEventProxy::GetInstance().SetValue(key.c_str(), value);
}

// On the television's thread.
template <typename Send>
auto OnStream(const Send& send) {
    Settle();
    Television& television = Television::Get();
    decltype(send(television)) result{};
    RunOn(television.Thread(), [&] { result = send(television); });
    return result;
}

} // namespace

bool PressKey(const std::string& name) {
    Settle();
    return KeyServer::Get().Send(name, KEY_PRESS);
}

bool ReleaseKey(const std::string& name) {
    Settle();
    return KeyServer::Get().Send(name, KEY_RELEASE);
}

bool SetConfiguration(const std::string& key, int value) {
    return SetConfigurationTo(key, value);
}

bool SetConfiguration(const std::string& key, bool value) {
    return SetConfigurationTo(key, value);
}

bool SetConfiguration(const std::string& key, double value) {
    return SetConfigurationTo(key, value);
}

bool SetConfiguration(const std::string& key, const char* value) {
    return SetConfigurationTo(key, value);
}

bool SendSignal(ESignalType signal, EProfile profile, unsigned short screen, TSSignalData data) {
    return OnStream([&](Television& television) {
        return television.SendSignal(signal, profile, screen, data);
    });
}

int SendSection(unsigned short pid, const std::vector<unsigned char>& section) {
    return OnStream([&](Television& television) { return television.SendSection(pid, section); });
}

int SendProgram(EProgramChangeType type, const TCProgramData& program) {
    return OnStream([&](Television& television) { return television.SendProgram(type, program); });
}

bool SendCaption(const TSCaption& caption) {
    return OnStream([&](Television& television) { return television.SendCaption(caption); });
}

bool SendPes(const TSPESData& packet) {
    return OnStream([&](Television& television) { return television.SendPes(packet); });
}

} // namespace hearthd::testing
