// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <hearthd/IModule.h>
#include <stdexcept>
#include <string>

// What the test's program and a library share, as the daemon and its libraries share their classes:
// it stands in the program, which exports it.

/// Module interfaces of the program; the library registers an implementation of the one, and one of
/// the other that can't be made.
class IGreeting : public IModule {
public:
    ~IGreeting() override;
    virtual std::string Greet() = 0;
};
class IWarning : public IModule {
public:
    ~IWarning() override;
};

/// An exception that both throw and both catch.
class GreetingError : public std::runtime_error {
public:
    explicit GreetingError(const std::string& reason);
    ~GreetingError() override;
};

/// Throws a GreetingError, in the program.
void FailInTheProgram();
