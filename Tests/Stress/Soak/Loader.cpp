// SPDX-License-Identifier: Apache-2.0
#include "Loader.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <shared_mutex>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

#include "FileDescriptor.h"
#include "ProcessUse.h"
#include "ServiceTest.h"
#include "WaitUntil.h"

namespace {

const char* FunctionFor(bool isStart) {
    return isStart ? "status-start" : "status-unload";
}

} // namespace

Loader::Loader(const Daemon& daemon, std::vector<std::string> services, std::string mark,
               Moves& moves, unsigned seed, const BusTimes& times)
    : BusActor("loader", seed, times), m_daemon(daemon), m_services(std::move(services)),
      m_mark(std::move(mark)), m_moves(moves) {
    signal(SIGPIPE, SIG_IGN);
}

// An order that the bus has taken with it may be carried out still: those over D-Bus stand ahead of
// what comes now, and the pipe's are done when the mark has started.
void Loader::UnloadAll(RawClient& client) {
    const std::scoped_lock alone(m_moves);
    Ask(client, "status-unload", m_mark);
    OrderByPipe(client, Goal::STARTED, m_mark);
    Ask(client, "status-unload", m_mark);
    for (const std::string& service : m_services) {
        Ask(client, "status-unload", service);
    }
}

void Loader::Use(RawClient& client) {
    const auto last = static_cast<int>(m_services.size()) - 1;
    const std::string& service = m_services[static_cast<std::size_t>(Random(0, last))];
    {
        const std::shared_lock together(m_moves);
        Order(client, Goal::STARTED, service);
    }
    Rest(std::chrono::milliseconds(Random(0, 100)));
    const std::scoped_lock alone(m_moves);
    Order(client, Goal::UNLOADED, service);
    ++m_rounds;
}

void Loader::Order(RawClient& client, Goal goal, const std::string& service) {
    if (Random(0, 1) == 0) {
        OrderByPipe(client, goal, service);
    } else {
        OrderByBus(client, goal, service);
    }
}

void Loader::OrderByBus(RawClient& client, Goal goal, const std::string& service) {
    const bool isStart = goal == Goal::STARTED;
    const std::string answer = Ask(client, FunctionFor(isStart), service);
    if (answer != (isStart ? STARTED : UNLOADED)) {
        Fail(service + ": " + answer);
    }
}

void Loader::OrderByPipe(RawClient& client, Goal goal, const std::string& service) {
    const bool isStart = goal == Goal::STARTED;
    WriteToPipe(std::string("service-command ") + FunctionFor(isStart) + " " + service + "\n");
    const std::string wanted = isStart ? " started\n" : " not-load\n";
    const bool isDone =
        WaitUntil([&] { return Ask(client, "list-services-status", service).ends_with(wanted); });
    if (!isDone) {
        Fail(service + ": the pipe's " + FunctionFor(isStart) + " isn't carried out");
    }
}

// What is written while the daemon is about to close the pipe, behind the writer before, is lost.
void Loader::WriteToPipe(const std::string& line) const {
    const bool isWritten = WaitUntil([&] {
        if (DescriptorOn(m_daemon.Pid(), "/api/control")) {
            return false;
        }
        const marrow::base::FileDescriptor pipe(
            open(m_daemon.Pipe().c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
        return write(pipe.Number(), line.data(), line.size()) == static_cast<ssize_t>(line.size());
    });
    if (!isWritten) {
        throw std::runtime_error(std::string("the pipe takes nothing: ") + strerror(errno));
    }
}

std::string Loader::Ask(RawClient& client, const std::string& function,
                        const std::string& service) {
    const RawClient::Reply reply = client.Call(DEBUG_SHELL, "", ShellRequest(function, service));
    if (!reply.error.empty()) {
        throw std::runtime_error(function + " " + service + ": " + reply.error);
    }
    Json::Value answer;
    std::istringstream(reply.payload) >> answer;
    return answer["return"].asString();
}
