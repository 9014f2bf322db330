// SPDX-License-Identifier: Apache-2.0
#include "Greeting.h"

IGreeting::~IGreeting() = default;

IWarning::~IWarning() = default;

GreetingError::GreetingError(const std::string& reason) : std::runtime_error(reason) {}

GreetingError::~GreetingError() = default;

void FailInTheProgram() {
    throw GreetingError("the program has failed");
}
