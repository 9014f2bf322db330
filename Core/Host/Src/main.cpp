// SPDX-License-Identifier: Apache-2.0

// The process: a fixed order of calls, none of which is checked, and then the main loop for the
// rest of its life. All class objects are registered before the first module is asked for, because
// the registry has no lock and takes its candidates from these lists. The router comes before the
// manager, so that it exists before any service can start, and the debug shell comes last. The
// services themselves start on a worker of their own while this thread goes on. Nothing ends the
// loop: the process ends when it is killed.

#include <glib.h>

#include "CommandManager.h"
#include "HangBeacon.h"
#include "MessageRouter.h"
#include "ModuleAccessor.h"
#include "PerformanceMonitor.h"
#include "PrintRecordHandler.h"
#include "ProcStat.h"
#include "ServiceFactory.h"
#include "ServiceManager.h"

namespace {

constexpr int HANG_BEACON_SETTING = 75; // the deadlock watchdog's own; passed as it stands
constexpr guint WATCHDOG_INTERVAL_MS = 10000;
constexpr const char* INIT_TAG = "INIT";

// Proves that the main loop is being served, and nothing about the workers.
int WatchdogTimerCb(void* /*loop*/) {
    hang_beacon_watchdog_notify();
    return 1; // keep the timer
}

} // namespace

int main() {
    PerformanceMonitor::Get().AddRecordHandler(new PrintRecordHandler);
    PerformanceMonitor::Get().Start(INIT_TAG);

    ModuleInterface<marrow::mgr::IServiceManager>::AddImpl(&ServiceManager::CLASS);
    ModuleInterface<marrow::ser::IServiceFactory>::AddImpl(&ServiceFactory::CLASS);
    ModuleInterface<marrow::msg::IMessageHandler>::AddImpl(&marrow::msg::MessageRouter::CLASS);
    ModuleInterface<marrow::msg::IMessageRouter>::AddImpl(&marrow::msg::MessageRouter::CLASS);
    ModuleAccessor<marrow::msg::IMessageRouter>::Get();
    ModuleAccessor<marrow::mgr::IServiceManager>::Get();

    PerformanceMonitor::Get().Stop(INIT_TAG);

    marrow::dbg::CommandManager::Get();

    GMainLoop* const loop = g_main_loop_new(nullptr, 0);
    proc_stat_set_vip_process();
    hang_beacon_register_watchdog_service(HANG_BEACON_SETTING);
    g_timeout_add(WATCHDOG_INTERVAL_MS, WatchdogTimerCb, loop);
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
    return 0;
}
