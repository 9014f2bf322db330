// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "AnyThreadMutex.h"
#include "IIPC.h"
#include "Mutex.h"

namespace marrow::ser {
class Worker;
}

namespace marrow::dbg {

/// The debug shell's pipe channel: lines of the form `<command> <function> [<service>]` come in
/// through the FIFO at FIFO_PATH, and the answers go to the log.
///
/// Fields are parted by blanks and lines by newlines; runs of either count as one, and there is no
/// quoting. A line becomes a message with the keys "command", "function" and "service". The daemon
/// doesn't make the FIFO.
///
/// Start and Stop may be called on any thread, GetMessenger too; everything else happens on the
/// worker "Reader". A messenger must not be deleted while a line for its tag may come in.
class StreamIPC : public IIPC {
public:
    static const char* FIFO_PATH;
    static constexpr int FIFO_BUFFER_SIZE = 1000; ///< bytes: the largest read; the pipe gets a page

    /// The process's one channel.
    static StreamIPC* Get();

    StreamIPC();
    /// Stops the reading and waits until the reader has seen that, which takes another writer's
    /// visit where it is waiting for one. For a channel that was started once and is stopped here
    /// for the first time: it waits for ever for one that never ran, and not at all for one that
    /// was started again.
    ~StreamIPC() override;

    /// Sets the reader going, unless it is. After a FIFO that couldn't be opened it isn't before a
    /// Stop.
    void Start();
    /// Asks the reader to end. It looks between two writers' visits.
    void Stop();

    void DeleteMessenger(std::string& tag) override;
    Messenger* GetMessenger(const std::string& tag) override;
    /// A pipe has no way back: says so in the log and returns an empty message.
    Quill::TCMessage SendSyncMessage(std::string& tag, Quill::TCMessage& message) override;

    /// One run of the reader: waits for a writer, handles its lines until it has closed the pipe,
    /// and queues the next run.
    void ReadFromPipe();

    std::vector<std::string> DivideIntoLines(std::string text);
    /// Cuts `line` up. An empty message where there are fewer than two fields.
    Quill::TCMessage ParseInput(std::string& line);

private:
    void PostReader();
    void HandleLines(const std::string& block);

    std::map<std::string, Messenger*> m_messengers GUARDED_BY(m_messengersMutex); // owned
    std::shared_ptr<ser::Worker> m_worker;
    int m_pipeFd; // the reader's
    std::atomic<bool> m_stopped;
    base::AnyThreadMutex m_readerMutex; // held for as long as reading may go on
    base::Mutex m_messengersMutex;

    static StreamIPC* m_instance GUARDED_BY(m_instanceMutex);
    static base::Mutex m_instanceMutex;
};

} // namespace marrow::dbg
