// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <string>

#include "Mutex.h"

namespace marrow::dbg {

class ICommand;
class ServiceCommand;

/// Makes the commands of the debug shell and owns them. The first Get brings up the whole shell:
/// a command registers itself, which makes both channels. Never deleted while the process runs.
class CommandManager {
public:
    static CommandManager* Get();

    ~CommandManager();
    CommandManager(const CommandManager&) = delete;
    CommandManager& operator=(const CommandManager&) = delete;

private:
    CommandManager();

    std::unique_ptr<ServiceCommand> m_serviceCommand;
    std::map<std::string, ICommand*> m_commands; // nothing enters it: the channels know the tags

    static CommandManager* m_instance GUARDED_BY(m_instanceMutex);
    static base::Mutex m_instanceMutex;
};

} // namespace marrow::dbg
