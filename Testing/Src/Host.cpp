// SPDX-License-Identifier: Apache-2.0
#include "Host.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <glib.h>
#include <pthread.h>
#include <string>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "GivenServices.h"
#include "MessageRouter.h"
#include "ModuleAccessor.h"
#include "ServiceLoader.h"

namespace hearthd::testing {

namespace {

namespace fs = std::filesystem;
using marrow::msg::MessageRouter;
using marrow::ser::LoadType;

// As main() does, and in its order.
void RegisterModules() {
    ModuleInterface<marrow::mgr::IServiceManager>::AddImpl(&DeclaredServices::CLASS);
    ModuleInterface<marrow::ser::IServiceFactory>::AddImpl(&GivenServices::CLASS);
    ModuleInterface<marrow::msg::IMessageHandler>::AddImpl(&MessageRouter::CLASS);
    ModuleInterface<marrow::msg::IMessageRouter>::AddImpl(&MessageRouter::CLASS);
    ModuleAccessor<marrow::msg::IMessageRouter>::Get();
    ModuleAccessor<marrow::msg::IMessageHandler>::Get();
    ModuleAccessor<marrow::mgr::IServiceManager>::Get();
    ModuleAccessor<marrow::ser::IServiceFactory>::Get();
}

// They outlive the table that names them: a test program's check for leaks finds them here.
void KeepLoaders() {
    [[gnu::used]] static IServiceLoader* const one = ServiceLoader::Get(LoadType::COREAPP_PROCESS);
    [[gnu::used]] static IServiceLoader* const other =
        ServiceLoader::Get(LoadType::EXTERNAL_PROCESS);
}

// Removed when the process ends.
const fs::path& FolderOfTheProcess() {
    static const auto* const folder = [] {
        std::string path = (fs::temp_directory_path() / "hearthd-testing.XXXXXX").string();
        if (mkdtemp(path.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), "mkdtemp " + path);
        }
        return new fs::path(path);
    }();
    return *folder;
}

void SetUpDevice() {
    setenv("VCONF_DATABASE", (FolderOfTheProcess() / "vconf.db").c_str(), 1);
    static const pid_t owner = getpid();
    std::atexit([] {
        if (getpid() != owner) { // the child of a death test
            return;
        }
        std::error_code ignored; // a folder that stays is no reason to fail
        fs::remove_all(FolderOfTheProcess(), ignored);
    });
    setenv("DISPLAY", "hearthd-testing", 1);
}

// For the life of the process. The context is the thread's before anybody can ask for something: it
// would be done on the thread that asks.
void StartMainLoop() {
    std::promise<void> isOwner;
    std::thread([&isOwner] {
        pthread_setname_np(pthread_self(), "hearthd");
        GMainLoop* const loop = g_main_loop_new(nullptr, 0);
        g_main_context_acquire(nullptr);
        isOwner.set_value();
        g_main_loop_run(loop);
    }).detach();
    isOwner.get_future().wait();
}

} // namespace

void SetUpHost() {
    static const bool isSetUp = [] {
        SetUpDevice();
        RegisterModules();
        KeepLoaders();
        StartMainLoop();
        return true;
    }();
    static_cast<void>(isSetUp);
}

void PassMainLoop() {
    std::promise<void> passed;
    const GSourceFunc pass = [](void* data) {
        static_cast<std::promise<void>*>(data)->set_value();
        return 0;
    };
    g_main_context_invoke(nullptr, pass, &passed);
    passed.get_future().wait();
}

} // namespace hearthd::testing
