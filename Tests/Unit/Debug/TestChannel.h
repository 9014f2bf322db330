// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ControlPipe.h"
#include "Messenger.h"
#include "PrivateMember.h"
#include "StreamIPC.h"
#include "WorkerFactory.h"
#include "WorkerTools.h"

struct ReaderMutex
    : PrivateMember<ReaderMutex, marrow::base::AnyThreadMutex marrow::dbg::StreamIPC::*> {};
template struct ExposeMember<ReaderMutex, &marrow::dbg::StreamIPC::m_readerMutex>;

struct MessengersMutex
    : PrivateMember<MessengersMutex, marrow::base::Mutex marrow::dbg::StreamIPC::*> {};
template struct ExposeMember<MessengersMutex, &marrow::dbg::StreamIPC::m_messengersMutex>;

struct PipeFd : PrivateMember<PipeFd, int marrow::dbg::StreamIPC::*> {};
template struct ExposeMember<PipeFd, &marrow::dbg::StreamIPC::m_pipeFd>;

struct Messengers
    : PrivateMember<Messengers,
                    std::map<std::string, marrow::dbg::Messenger*> marrow::dbg::StreamIPC::*> {};
template struct ExposeMember<Messengers, &marrow::dbg::StreamIPC::m_messengers>;

/// A pipe channel of the test's own. Its end lets the reader see the stop, and deletes the
/// messengers, which the channel itself leaves behind.
class TestChannel : public marrow::dbg::StreamIPC {
public:
    ~TestChannel() override {
        Stop();
        LetReaderEnd();
        ReadFromPipe(); // for a reader that never was, or that ended in another way
        for (const std::string& tag : Tags()) {
            std::string name = tag;
            DeleteMessenger(name);
        }
    }

    /// After a Stop: visits until no reader is left. False when that takes too long.
    static bool LetReaderEnd() {
        const bool hasRun = VisitUntilIdle(); // and may have queued another run
        return VisitUntilIdle() && hasRun;
    }

    /// Waits until what is queued for the reader's worker has run. Not while a reader waits for a
    /// writer.
    static bool Settle() { return RunOn(marrow::ser::WorkerFactory::Get().GetWorker("Reader")); }

    /// The tags that have a messenger. While nothing is read.
    std::vector<std::string> Tags() {
        std::vector<std::string> tags;
        for (const auto& [tag, messenger] : this->*MemberOf(Messengers())) {
            tags.push_back(tag);
        }
        return tags;
    }

private:
    // What is queued on the reader's worker now has run.
    static bool VisitUntilIdle() {
        const auto worker = marrow::ser::WorkerFactory::Get().GetWorker("Reader");
        const auto idle = std::make_shared<Gate>();
        Post(worker, [idle] { idle->Open(); });
        return WaitUntil([&] { return idle->IsOpen() || (ControlPipe::HasReader(), false); });
    }
};
