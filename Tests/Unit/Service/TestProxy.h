// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "PrivateMember.h"
#include "ServiceProxy.h"
#include "WorkerTools.h"

struct ProxyWorker
    : PrivateMember<ProxyWorker,
                    std::shared_ptr<marrow::ser::Worker> marrow::ser::ServiceProxy::*> {};
struct ProxyCallMutex
    : PrivateMember<ProxyCallMutex, marrow::base::Mutex marrow::ser::ServiceProxy::*> {};
struct ProxyHandOverMutex : PrivateMember<ProxyHandOverMutex, GMutex marrow::ser::ServiceProxy::*> {
};
struct ProxyHandOverCondition
    : PrivateMember<ProxyHandOverCondition, GCond marrow::ser::ServiceProxy::*> {};
template struct ExposeMember<ProxyWorker, &marrow::ser::ServiceProxy::m_worker>;
template struct ExposeMember<ProxyCallMutex, &marrow::ser::ServiceProxy::m_callMutex>;
template struct ExposeMember<ProxyHandOverMutex, &marrow::ser::ServiceProxy::m_handOverMutex>;
template struct ExposeMember<ProxyHandOverCondition,
                             &marrow::ser::ServiceProxy::m_handOverCondition>;

/// A reference of the caller's own: a queue must live for as long as somebody puts a job into it.
inline std::shared_ptr<marrow::ser::Worker> WorkerOf(marrow::ser::ServiceProxy& proxy) {
    return proxy.*MemberOf(ProxyWorker());
}

/// Wakes the caller of CallAPI for no reason, as a condition may.
inline void WakeForNoReason(marrow::ser::ServiceProxy& proxy) {
    GMutex& mutex = proxy.*MemberOf(ProxyHandOverMutex());
    g_mutex_lock(&mutex);
    g_cond_signal(&(proxy.*MemberOf(ProxyHandOverCondition())));
    g_mutex_unlock(&mutex);
}

/// A proxy whose OnCallAPI is the test's; at first it answers with the message that it got. It
/// waits for its worker before it goes, so that no job is left that names it.
class TestProxy : public marrow::ser::ServiceProxy {
public:
    explicit TestProxy(const std::string& name) : ServiceProxy(name) {}
    ~TestProxy() override {
        if (!marrow::ser::Worker::IsCurrentWorker(WorkerOf(*this))) {
            RunOn(WorkerOf(*this));
        }
    }

    // Set while it doesn't run.
    std::function<Quill::TCMessage(Quill::TCMessage&)> onCall = [](Quill::TCMessage& message) {
        return message;
    };
    std::atomic<int> calls{0};

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override {
        ++calls;
        return onCall(message);
    }
};

/// A message with one key.
inline Quill::TCMessage Message(const std::string& text) {
    Quill::TCMessage message;
    message.payload["text"] = text;
    message.subject = "subject of " + text;
    return message;
}

inline std::string TextOf(const Quill::TCMessage& message) {
    return message.payload.empty() ? "" : message.payload["text"].asString();
}
