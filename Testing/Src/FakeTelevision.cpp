// SPDX-License-Identifier: Apache-2.0

// The TV service library's functions, in the place of its own: nothing reads a stream.

#include "TVServiceAPI.h"

#include "Television.h"

namespace {

using hearthd::testing::Television;
using Wish = Television::ProgramWish;

class SignalSubscriber final : public ISignalSubscriber {
public:
    int SubscribeSignal(ESignalType signal, void* user, EProfile profile,
                        unsigned short screen) override {
        return Television::Get().SubscribeSignal(signal, profile, screen, user);
    }
    int UnsubscribeSignal(ESignalType signal, EProfile profile, unsigned short screen) override {
        return Television::Get().UnsubscribeSignal(signal, profile, screen);
    }
};

class SectionSubscriber final : public ISectionSubscriber {
public:
    int SubscribeSection(int id, TCSectionCriteriaHelper const& criteria, int& handle) override {
        return Television::Get().SubscribeSection(id, criteria, handle);
    }
    int ChangeSection(int handle, TCSectionCriteriaHelper const& criteria) override {
        return Television::Get().ChangeSection(handle, criteria);
    }
    int UnsubscribeSection(int handle) override {
        return Television::Get().UnsubscribeSection(handle);
    }
};

class ProgramSubscriber final : public IProgramSubscriber {
public:
    int SubscribeProgram(TCProgramFilteringItem const& filter, int& id) override {
        Wish wish;
        wish.filter = filter;
        return Television::Get().SubscribeProgram(wish, id);
    }
    int UnsubscribeProgram(int id) override { return Television::Get().UnsubscribeProgram(id); }
    int SubscribeProgramListPF(int param, unsigned long long const& list, ESubscribeType type,
                               int& id) override {
        return Subscribe(MakeList(Wish::Kind::PRESENT_FOLLOWING, param, list, type), id);
    }
    int SubscribeProgramList(int param, unsigned long long const& list, unsigned int first,
                             unsigned int second, ESubscribeType type, int& id) override {
        Wish wish = MakeList(Wish::Kind::SCHEDULE, param, list, type);
        wish.first = first;
        wish.second = second;
        return second > first ? Subscribe(wish, id) : 0;
    }

private:
    static Wish MakeList(Wish::Kind kind, int param, unsigned long long service,
                         ESubscribeType type) {
        Wish wish;
        wish.kind = kind;
        wish.filter.SetService(service);
        wish.type = type;
        wish.param = param;
        return wish;
    }

    static int Subscribe(const Wish& wish, int& id) {
        const bool isKnown = wish.type >= SUBSCRIBE_ONCE && wish.type <= SUBSCRIBE_BOTH;
        return isKnown ? Television::Get().SubscribeProgram(wish, id) : 0;
    }
};

class DataSubscriber final : public IDataSubscriber {
public:
    int SubscribeData(Callback callback, void* user, int& id) override {
        return Television::Get().SubscribeCaptions(callback, user, id);
    }
    int UnsubscribeData(int id) override { return Television::Get().UnsubscribeCaptions(id); }
};

class PESDataSubscriber final : public IPESDataSubscriber {
public:
    int SubscribePESData(Callback callback, void* user, int& id) override {
        return Television::Get().SubscribePes(callback, user, id);
    }
    int SelectPES(int id, unsigned short pid) override {
        return Television::Get().SelectPes(id, pid);
    }
    int UnsubscribePESData(int id) override { return Television::Get().UnsubscribePes(id); }
};

// The process's subscriber of a kind.
template <typename Subscriber, typename Interface>
int Create(Interface** subscriber) {
    static auto* const made = new Subscriber;
    *subscriber = made;
    return 1;
}

} // namespace

namespace TVServiceAPI {

int CreateSignalSubscriber(int (*callback)(ESignalType, EProfile, unsigned short, TSSignalData,
                                           void*),
                           ISignalSubscriber** subscriber) {
    Television::Get().SetCallback(callback);
    return Create<SignalSubscriber>(subscriber);
}

int CreateSectionSubscriber(void (*callback)(bool, unsigned short, unsigned char*, int),
                            EProfile /*profile*/, int /*screen*/, ISectionSubscriber** subscriber) {
    Television::Get().SetCallback(callback);
    return Create<SectionSubscriber>(subscriber);
}

int CreateProgramSubscriber(void (*callback)(EProgramChangeType, TCProgramData*, int, int),
                            IProgramSubscriber** subscriber) {
    Television::Get().SetCallback(callback);
    return Create<ProgramSubscriber>(subscriber);
}

int CreateDataSubscriber(EProfile /*profile*/, int /*screen*/, IDataSubscriber** subscriber) {
    return Create<DataSubscriber>(subscriber);
}

int CreatePESDataSubscriber(EProfile /*profile*/, int /*screen*/, IPESDataSubscriber** subscriber) {
    return Create<PESDataSubscriber>(subscriber);
}

// The proxies call these when the process ends, with nothing to send any more.
void DestroySignalSubscriber() {}
void DestroySectionSubscriber() {}
void DestroyProgramSubscriber() {}
void DestroyDataSubscriber() {}
void DestroyPESDataSubscriber() {}

} // namespace TVServiceAPI
