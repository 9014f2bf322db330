// SPDX-License-Identifier: Apache-2.0
#include "TCEventIO.h"

#include "EventQueue.h"
#include "LiveQueues.h"

namespace Quill {

TCIOBase::~TCIOBase() = default;

bool TCIOBase::Init(GMainLoop* /*loop*/) {
    return true;
}

void TCIOBase::Final() {}

TCEventIO::TCEventIO(const char* name) : m_queue(std::make_unique<EventQueue>(name)) {
    LiveQueues::Get().Add(this);
}

TCEventIO::~TCEventIO() {
    LiveQueues::Get().Remove(this);
}

bool TCEventIO::SendEvent(TCEvent* event) {
    if (event == nullptr || event->handler == nullptr || event->handler->owner == nullptr) {
        return false;
    }
    if (event->handler->owner->m_queue->Push(*event)) {
        return true;
    }
    event->handler->t_Clear(event);
    return false;
}

bool TCEventIO::t_OnEvent(const TCEvent* /*event*/) {
    return false;
}

bool TCEventIO::t_Init() {
    return true;
}

void TCEventIO::t_Final() {}

void TCEventIO::t_Clear(TCEvent* /*event*/) {}

void TCEventIO::Serve() {
    m_queue->Serve();
}

void TCEventIO::Close() {
    m_queue->Close();
}

void TCEventIO::Discard() {
    m_queue->Discard();
}

const char* TCEventIO::QueueName() const {
    return m_queue->Name();
}

} // namespace Quill
