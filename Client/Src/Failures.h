// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>

#include "HearthClient.h"

// What the bus library's errors come to.
namespace hearthd {

/// The bus that is meant, for texts.
std::string BusAddress();

/// Of a negative errno value of TCServer::SendMessage, Ping or SendSignal.
Failure FailureOf(int error, const std::string& endpoint);

/// No answer within `limit`.
Failure TimedOut(const std::string& endpoint, std::chrono::milliseconds limit);

} // namespace hearthd
