// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "TVServiceAPI.h"

/// The TV service library as a test wants it: it keeps a record of what it was asked, refuses on
/// demand, and calls back on whatever thread the test calls it. Linking FakeTVService.cpp puts its
/// functions in the place of the library's, for the whole test process. Any thread.
class FakeTVService {
public:
    /// Never destroyed: the proxies return their subscribers when the process ends.
    static FakeTVService& Get();

    /// Every call in order, with its arguments: "SubscribeSignal 3 1 0". Pointers and references to
    /// results aren't among these; criteria show as their PID, a filter as its service.
    std::vector<std::string> Calls();

    /// Forgets the calls, the answers and what was to happen inside of a call. The subscribers and
    /// the callbacks stay.
    void Reset();

    /// What an operation answers from now on; without a word it is 1. One that is refused, with 0
    /// or less, stores nothing.
    void Answer(const std::string& operation, int result);

    /// The next id or handle that it writes; each further one is greater by one.
    void WriteFrom(int id);

    /// Runs `work` inside of the next call, once, on the caller's thread.
    void InsideNextCall(std::function<void()> work);

    /// Who was named last in a subscription of signals, captions or PES packets.
    void* User();

    // The callbacks, as they were handed over last; whether anything is subscribed doesn't matter.
    int Signal(ESignalType signal, EProfile profile, unsigned short screen, TSSignalData data);
    void Section(bool flag, unsigned short size, unsigned char* data, int id);
    void Program(EProgramChangeType type, TCProgramData* data, int param, int id);
    void Caption(TSCaption& caption);
    void Pes(TSPESData& data);

    struct Callbacks {
        int (*signal)(ESignalType, EProfile, unsigned short, TSSignalData, void*) = nullptr;
        void (*section)(bool, unsigned short, unsigned char*, int) = nullptr;
        void (*program)(EProgramChangeType, TCProgramData*, int, int) = nullptr;
        IDataSubscriber::Callback caption = nullptr;
        IPESDataSubscriber::Callback pes = nullptr;
        void* user = nullptr;
    };

    // For the library's functions and subscribers.

    /// Notes the call, and returns what it is to answer.
    int Note(const std::string& operation, const std::vector<long long>& arguments = {});
    /// The same, and writes the next id where the answer isn't a refusal.
    int NoteAndWrite(const std::string& operation, const std::vector<long long>& arguments,
                     int& id);
    void Keep(const std::function<void(Callbacks&)>& change);

private:
    FakeTVService() = default;
    Callbacks Known();

    std::mutex m_mutex; // guards what follows; nothing of the test's runs under it
    std::vector<std::string> m_calls;
    std::map<std::string, int> m_answers;
    std::function<void()> m_insideNextCall;
    int m_nextId = 100;
    Callbacks m_callbacks;
};
