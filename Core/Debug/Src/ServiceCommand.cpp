// SPDX-License-Identifier: Apache-2.0
#include "ServiceCommand.h"

#include <iomanip>
#include <sstream>

#include "IServiceManager.h"
#include "Log.h"
#include "ModuleAccessor.h"

namespace marrow::dbg {

using mgr::IServiceControl;
using mgr::IServiceManager;
using Quill::TCMessage;

namespace {

constexpr const char* TAG = "service-command";
constexpr const char* NO_SERVICES = "There is no services to list.\n";
constexpr const char* GAP = "   ";
constexpr int NAME_WIDTH = 13;

IServiceControl* FindService(const std::string& name) {
    return ModuleAccessor<IServiceManager>::Get()->GetServiceByName(name);
}

void WriteUnknown(std::ostringstream& output, const std::string& name) {
    output << "Service " << name << " does not exist\n";
}

void ListServices(std::ostringstream& output) {
    const auto services = ModuleAccessor<IServiceManager>::Get()->GetServiceList();
    if (services.empty()) {
        output << NO_SERVICES;
    }
    for (const ser::service_info_t& service : services) {
        output << service.service_name << '\n';
    }
}

} // namespace

ServiceCommand::ServiceCommand() : ICommand(TAG) {
    Register(this);
}

ServiceCommand::~ServiceCommand() {
    UnRegister(this);
}

TCMessage ServiceCommand::OnMessage(TCMessage& message) {
    LOGI("OnMessage");
    std::ostringstream output;
    const std::string function = message.payload["function"].asString();
    const auto service = [&message] { return message.payload["service"].asString(); };
    if (function == "list-services") {
        ListServices(output);
    } else if (function == "list-services-status") {
        ListStates(output, service());
    } else if (function == "status-load") {
        changeStatus(output, service(), ServiceState::LOAD);
    } else if (function == "status-unload") {
        changeStatus(output, service(), ServiceState::STOP);
        changeStatus(output, service(), ServiceState::UNLOAD);
    } else if (function == "status-start") {
        changeStatus(output, service(), ServiceState::LOAD);
        changeStatus(output, service(), ServiceState::START);
    } else if (function == "status-stop") {
        changeStatus(output, service(), ServiceState::STOP);
    }
    TCMessage reply;
    reply.payload["return"] = output.str();
    return reply;
}

// The states of all services, or the one of the service that is named.
void ServiceCommand::ListStates(std::ostringstream& output, const std::string& serviceName) {
    if (!serviceName.empty()) {
        IServiceControl* const service = FindService(serviceName);
        if (service == nullptr) {
            WriteUnknown(output, serviceName);
        } else {
            output << serviceName << GAP << serviceStateTostring(service->GetState()) << '\n';
        }
        return;
    }
    const auto services = ModuleAccessor<IServiceManager>::Get()->GetServiceList();
    if (services.empty()) {
        output << NO_SERVICES;
    }
    for (const ser::service_info_t& service : services) {
        const std::string& name = service.service_name;
        // Every service of the list has its control.
        output << std::left << std::setw(NAME_WIDTH) << name << GAP
               << serviceStateTostring(FindService(name)->GetState()) << '\n';
    }
}

std::string ServiceCommand::serviceStateTostring(IServiceControl::ServiceState state) {
    switch (state) {
    case IServiceControl::ServiceState::NOT_LOADED:
        return "not-load";
    case IServiceControl::ServiceState::LOADED:
        return "loaded";
    case IServiceControl::ServiceState::STARTED:
        return "started";
    }
    return "";
}

void ServiceCommand::changeStatus(std::ostringstream& output, const std::string& serviceName,
                                  ServiceState request) {
    IServiceControl* const service = FindService(serviceName);
    if (service == nullptr) {
        WriteUnknown(output, serviceName);
        return;
    }
    bool changed = false;
    switch (request) {
    case ServiceState::LOAD:
        changed = service->Load();
        break;
    case ServiceState::UNLOAD:
        changed = service->Unload();
        break;
    case ServiceState::START:
        changed = service->Start();
        break;
    case ServiceState::STOP:
        changed = service->Stop();
        break;
    }
    output << (changed ? "State successfully changed to "
                       : "Failed to change status. Current service status is ")
           << serviceStateTostring(service->GetState()) << '\n';
}

} // namespace marrow::dbg
