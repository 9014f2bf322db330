// SPDX-License-Identifier: Apache-2.0
#include "CommandManager.h"

#include "Log.h"
#include "ServiceCommand.h"

namespace marrow::dbg {

CommandManager* CommandManager::m_instance = nullptr;
base::Mutex CommandManager::m_instanceMutex;

CommandManager* CommandManager::Get() {
    LOGD("Get instance");
    const base::MutexLock lock(m_instanceMutex);
    if (m_instance == nullptr) {
        LOGD("Creating object");
        m_instance = new CommandManager;
    }
    return m_instance;
}

CommandManager::CommandManager() {
    LOGI("Creating command objects");
    m_serviceCommand = std::make_unique<ServiceCommand>();
}

CommandManager::~CommandManager() = default;

} // namespace marrow::dbg
