// SPDX-License-Identifier: Apache-2.0
#include "FakeTVService.h"

#include <utility>

namespace {

FakeTVService& Fake() {
    return FakeTVService::Get();
}

class SignalSubscriber final : public ISignalSubscriber {
public:
    int SubscribeSignal(ESignalType signal, void* user, EProfile profile,
                        unsigned short screen) override {
        Fake().Keep([&](FakeTVService::Callbacks& callbacks) { callbacks.user = user; });
        return Fake().Note("SubscribeSignal", {signal, profile, screen});
    }
    int UnsubscribeSignal(ESignalType signal, EProfile profile, unsigned short screen) override {
        return Fake().Note("UnsubscribeSignal", {signal, profile, screen});
    }
};

class SectionSubscriber final : public ISectionSubscriber {
public:
    int SubscribeSection(int id, TCSectionCriteriaHelper const& criteria, int& handle) override {
        return Fake().NoteAndWrite("SubscribeSection", {id, criteria.Pid()}, handle);
    }
    int ChangeSection(int handle, TCSectionCriteriaHelper const& criteria) override {
        return Fake().Note("ChangeSection", {handle, criteria.Pid()});
    }
    int UnsubscribeSection(int handle) override {
        return Fake().Note("UnsubscribeSection", {handle});
    }
};

class ProgramSubscriber final : public IProgramSubscriber {
public:
    int SubscribeProgram(TCProgramFilteringItem const& filter, int& id) override {
        return Fake().NoteAndWrite("SubscribeProgram", {Number(filter.Service())}, id);
    }
    int UnsubscribeProgram(int id) override { return Fake().Note("UnsubscribeProgram", {id}); }
    int SubscribeProgramListPF(int param, unsigned long long const& list, ESubscribeType type,
                               int& id) override {
        return Fake().NoteAndWrite("SubscribeProgramListPF", {param, Number(list), type}, id);
    }
    int SubscribeProgramList(int param, unsigned long long const& list, unsigned int first,
                             unsigned int second, ESubscribeType type, int& id) override {
        return Fake().NoteAndWrite("SubscribeProgramList",
                                   {param, Number(list), first, second, type}, id);
    }

private:
    static long long Number(unsigned long long value) { return static_cast<long long>(value); }
};

class DataSubscriber final : public IDataSubscriber {
public:
    int SubscribeData(Callback callback, void* user, int& id) override {
        Fake().Keep([&](FakeTVService::Callbacks& callbacks) {
            callbacks.caption = callback;
            callbacks.user = user;
        });
        return Fake().NoteAndWrite("SubscribeData", {}, id);
    }
    int UnsubscribeData(int id) override { return Fake().Note("UnsubscribeData", {id}); }
};

class PESDataSubscriber final : public IPESDataSubscriber {
public:
    int SubscribePESData(Callback callback, void* user, int& id) override {
        Fake().Keep([&](FakeTVService::Callbacks& callbacks) {
            callbacks.pes = callback;
            callbacks.user = user;
        });
        return Fake().NoteAndWrite("SubscribePESData", {}, id);
    }
    int SelectPES(int id, unsigned short pid) override {
        return Fake().Note("SelectPES", {id, pid});
    }
    int UnsubscribePESData(int id) override { return Fake().Note("UnsubscribePESData", {id}); }
};

// Makes the process's subscriber of a kind, where the answer isn't a refusal.
template <typename Subscriber, typename Interface>
int Create(const std::string& operation, const std::vector<long long>& arguments,
           Interface** subscriber) {
    const int result = Fake().Note(operation, arguments);
    if (result >= 1) {
        static auto* const made = new Subscriber;
        *subscriber = made;
    }
    return result;
}

} // namespace

FakeTVService& FakeTVService::Get() {
    static auto* const fake = new FakeTVService;
    return *fake;
}

std::vector<std::string> FakeTVService::Calls() {
    const std::scoped_lock lock(m_mutex);
    return m_calls;
}

void FakeTVService::Reset() {
    const std::scoped_lock lock(m_mutex);
    m_calls.clear();
    m_answers.clear();
    m_insideNextCall = nullptr;
    m_nextId = 100;
}

void FakeTVService::Answer(const std::string& operation, int result) {
    const std::scoped_lock lock(m_mutex);
    m_answers[operation] = result;
}

void FakeTVService::WriteFrom(int id) {
    const std::scoped_lock lock(m_mutex);
    m_nextId = id;
}

void FakeTVService::InsideNextCall(std::function<void()> work) {
    const std::scoped_lock lock(m_mutex);
    m_insideNextCall = std::move(work);
}

void* FakeTVService::User() {
    return Known().user;
}

int FakeTVService::Signal(ESignalType signal, EProfile profile, unsigned short screen,
                          TSSignalData data) {
    const Callbacks callbacks = Known();
    return callbacks.signal(signal, profile, screen, data, callbacks.user);
}

void FakeTVService::Section(bool flag, unsigned short size, unsigned char* data, int id) {
    Known().section(flag, size, data, id);
}

void FakeTVService::Program(EProgramChangeType type, TCProgramData* data, int param, int id) {
    Known().program(type, data, param, id);
}

void FakeTVService::Caption(TSCaption& caption) {
    const Callbacks callbacks = Known();
    callbacks.caption(caption, callbacks.user);
}

void FakeTVService::Pes(TSPESData& data) {
    const Callbacks callbacks = Known();
    callbacks.pes(data, callbacks.user);
}

int FakeTVService::Note(const std::string& operation, const std::vector<long long>& arguments) {
    std::string call = operation;
    for (const long long argument : arguments) {
        call += " " + std::to_string(argument);
    }
    std::function<void()> inside;
    int answer = 1;
    {
        const std::scoped_lock lock(m_mutex);
        m_calls.push_back(std::move(call));
        inside = std::exchange(m_insideNextCall, nullptr);
        const auto found = m_answers.find(operation);
        answer = found == m_answers.end() ? 1 : found->second;
    }
    if (inside) {
        inside();
    }
    return answer;
}

int FakeTVService::NoteAndWrite(const std::string& operation,
                                const std::vector<long long>& arguments, int& id) {
    const int answer = Note(operation, arguments);
    if (answer >= 1) {
        const std::scoped_lock lock(m_mutex);
        id = m_nextId++;
    }
    return answer;
}

void FakeTVService::Keep(const std::function<void(Callbacks&)>& change) {
    const std::scoped_lock lock(m_mutex);
    change(m_callbacks);
}

FakeTVService::Callbacks FakeTVService::Known() {
    const std::scoped_lock lock(m_mutex);
    return m_callbacks;
}

// In the place of the library's.
namespace TVServiceAPI {

int CreateSignalSubscriber(int (*callback)(ESignalType, EProfile, unsigned short, TSSignalData,
                                           void*),
                           ISignalSubscriber** subscriber) {
    Fake().Keep([&](FakeTVService::Callbacks& callbacks) { callbacks.signal = callback; });
    return Create<SignalSubscriber>("CreateSignalSubscriber", {}, subscriber);
}

void DestroySignalSubscriber() {
    Fake().Note("DestroySignalSubscriber");
}

int CreateSectionSubscriber(void (*callback)(bool, unsigned short, unsigned char*, int),
                            EProfile profile, int screen, ISectionSubscriber** subscriber) {
    Fake().Keep([&](FakeTVService::Callbacks& callbacks) { callbacks.section = callback; });
    return Create<SectionSubscriber>("CreateSectionSubscriber", {profile, screen}, subscriber);
}

void DestroySectionSubscriber() {
    Fake().Note("DestroySectionSubscriber");
}

int CreateProgramSubscriber(void (*callback)(EProgramChangeType, TCProgramData*, int, int),
                            IProgramSubscriber** subscriber) {
    Fake().Keep([&](FakeTVService::Callbacks& callbacks) { callbacks.program = callback; });
    return Create<ProgramSubscriber>("CreateProgramSubscriber", {}, subscriber);
}

void DestroyProgramSubscriber() {
    Fake().Note("DestroyProgramSubscriber");
}

int CreateDataSubscriber(EProfile profile, int screen, IDataSubscriber** subscriber) {
    return Create<DataSubscriber>("CreateDataSubscriber", {profile, screen}, subscriber);
}

void DestroyDataSubscriber() {
    Fake().Note("DestroyDataSubscriber");
}

int CreatePESDataSubscriber(EProfile profile, int screen, IPESDataSubscriber** subscriber) {
    return Create<PESDataSubscriber>("CreatePESDataSubscriber", {profile, screen}, subscriber);
}

void DestroyPESDataSubscriber() {
    Fake().Note("DestroyPESDataSubscriber");
}

} // namespace TVServiceAPI
