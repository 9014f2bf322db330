// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>
#include <string>

#include "ICommand.h"
#include "IServiceControl.h"

namespace marrow::dbg {

/// The command "service-command": lists the declared services, and moves one through load, start,
/// stop and unload by hand.
///
/// A message names what to do under "function" and whom under "service"; the answer is the text
/// under "return", lines that each end in a newline. It blocks for as long as the service takes.
class ServiceCommand : public ICommand {
public:
    /// What is asked of a service.
    enum class ServiceState : int {
        LOAD = 0,
        UNLOAD = 1,
        START = 2,
        STOP = 3,
    };

    /// Registers with both channels.
    ServiceCommand();
    ~ServiceCommand() override;

    Quill::TCMessage OnMessage(Quill::TCMessage& message) override;

    /// This command's own words for what a service is; empty for a value that has none.
    std::string serviceStateTostring(mgr::IServiceControl::ServiceState state);

    /// Asks it of the service, and writes one line about what came of it.
    void changeStatus(std::ostringstream& output, const std::string& serviceName,
                      ServiceState request);

private:
    void ListStates(std::ostringstream& output, const std::string& serviceName);
};

} // namespace marrow::dbg
