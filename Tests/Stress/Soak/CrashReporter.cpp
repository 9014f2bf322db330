// SPDX-License-Identifier: Apache-2.0
#include "CrashReporter.h"

#include <fstream>
#include <mutex>

#include "DaemonTest.h"
#include "ServiceClient.h"

namespace {

namespace fs = std::filesystem;

constexpr int OWN_NUMBER = 0;
constexpr int NOBODYS_NUMBER = -1;
// The clients of other numbers have to wait for this call.
constexpr const char* LONG_CALL = R"({"do":"sleep","ms":50})";
constexpr const char* NO_CRASH_FILE = "File does not contain pattern we want to monitor.";

} // namespace

CrashReporter::CrashReporter(Daemon& daemon, unsigned seed, const BusTimes& times, Moves& moves)
    : BusActor("crash reporter", seed, times), m_daemon(daemon), m_folder(daemon.CrashFolder()),
      m_moves(moves) {
    fs::create_directories(m_folder);
}

void CrashReporter::OnConnect(RawClient& client) {
    client.RequestName(ServiceClient::BusName(OWN_NUMBER));
}

// Files are looked at one after the other: the daemon is done with all of them when it has refused
// the last one.
void CrashReporter::Use(RawClient& client) {
    Rest(std::chrono::milliseconds(Random(1000, 4000)));
    const std::scoped_lock alone(m_moves);
    if (!testing::Test::HasFailure()) { // the log may tell why
        m_olderLog = m_daemon.Log();
        m_daemon.ClearLog();
    }
    client.Send(ROUTER, "probe2", LONG_CALL, true);
    for (const int number : {OWN_NUMBER, Random(1, 8), NOBODYS_NUMBER}) {
        LeaveFile("173221.client.x86_64." + std::to_string(ServiceClient::ProcessId(number)) +
                  ".coredump");
    }
    LeaveFile("no-crash-file");
    if (!m_daemon.WaitForLog(NO_CRASH_FILE)) {
        Fail("the crash files aren't looked at");
    }
    for (const auto& file : fs::directory_iterator(m_folder)) {
        fs::remove(file);
    }
    ++m_reports;
}

void CrashReporter::LeaveFile(const std::string& name) const {
    std::ofstream(m_folder / name);
}
