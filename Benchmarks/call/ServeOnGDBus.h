// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gio/gio.h>

/// What a server on GDBus has in its main(): takes the bus name that is its only argument and has
/// `onCall` handle the endpoint's calls, on the main loop, until the name is lost. Returns for a
/// wrong number of arguments, with the exit status.
int ServeOnGDBus(int count, char** arguments, GDBusInterfaceMethodCallFunc onCall);
