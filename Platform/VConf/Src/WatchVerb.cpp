// SPDX-License-Identifier: Apache-2.0
#include "WatchVerb.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "KeyName.h"
#include "StoreWatch.h"

namespace vconf {

void WatchChanges(LazyStore& store, const std::vector<std::string>& prefixes,
                  const std::function<bool(const StoredKey&)>& tell) {
    const auto isWanted = [&](std::string_view name) {
        return IsKeyName(name) && // there are rows without one, and files that others have made
               (prefixes.empty() ||
                std::any_of(prefixes.begin(), prefixes.end(),
                            [&](const std::string& prefix) { return name.starts_with(prefix); }));
    };
    std::optional<StoreWatch> watch;
    std::string id;
    std::int64_t number = 0;
    store.Use([&](Store& opened) {
        watch.emplace(opened.Paths());
        if (!watch->Renew()) {
            watch->LookAgain();
        }
        id = opened.Id();
        number = opened.LastNumber();
    });
    while (true) {
        const StoreWatch::Noticed noticed = watch->Wait();
        std::vector<StoredKey> changes;
        try {
            if (noticed == StoreWatch::Noticed::Files && !watch->Renew()) {
                watch->LookAgain();
            }
            changes = store.Use([&](Store& opened) {
                // Another, or an old one that has been put back: all that is in it is new.
                if (id != opened.Id() || opened.LastNumber() < number) {
                    id = opened.Id();
                    number = 0;
                    watch->Follow(opened.Paths());
                }
                return opened.ChangesSince(number, isWanted);
            });
        } catch (const StoreError&) {
            watch->LookAgain();
        }
        for (const StoredKey& change : changes) {
            if (!tell(change)) {
                return;
            }
        }
    }
}

} // namespace vconf
