// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace hearthd::testing {

/// Sets the process up as the daemon's main() does, at the first call: the modules, with the kit's
/// own directory of services; the main loop, on a thread "hearthd"; and the environment of the
/// device.
void SetUpHost();

/// Waits until the main loop has done what it was given so far: what services have subscribed to is
/// in force then.
void PassMainLoop();

} // namespace hearthd::testing
