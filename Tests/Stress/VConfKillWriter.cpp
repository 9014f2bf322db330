// SPDX-License-Identifier: Apache-2.0

// Sets both keys to the next number, over and over, until it is killed. Whenever it has waited for
// the disk it writes the number to its standard output.

#include <cstdlib>
#include <memory>
#include <unistd.h>

#include "VConf.h"
#include "VConfKillValue.h"

int main() {
    constexpr long SETS_TO_A_SYNC = 3;
    // The one before may have been killed between the two.
    const std::unique_ptr<char, void (*)(void*)> second(vconf_get_str(KILL_SECOND_KEY), std::free);
    long number = second ? KillNumber(second.get()).value_or(-1) : 0;
    if (number < 0) {
        return 1;
    }
    while (true) {
        const std::string value = KillValue(++number);
        if (vconf_set_str(KILL_FIRST_KEY, value.c_str()) != 0 ||
            vconf_set_str(KILL_SECOND_KEY, value.c_str()) != 0) {
            return 1;
        }
        if (number % SETS_TO_A_SYNC == 0 &&
            (vconf_sync_key(KILL_FIRST_KEY) != 0 ||
             write(STDOUT_FILENO, &number, sizeof(number)) != sizeof(number))) {
            return 1;
        }
    }
}
