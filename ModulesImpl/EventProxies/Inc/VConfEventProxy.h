// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "SubscriptionManager.h"
#include "VConfData.h"

namespace marrow::evt {

// In the executable, whose copy hosted libraries bind to.
extern template class SubscriptionManager<std::string, VConfData>;

/// The platform's configuration keys: reads and writes them, and tells each key's changes to its
/// listeners, on the workers that they name. Subscribe and Unsubscribe with a key's name are the
/// base's.
///
/// Any thread. The bookkeeping and its lock are the base's. The platform is asked for changes by
/// the hooks, on the main thread, or before its main loop runs on the subscriber's; what it answers
/// goes nowhere, and a listener whose key it refuses hears nothing. Changes come on a thread of the
/// platform's.
class VConfEventProxy : public SubscriptionManager<std::string, VConfData> {
public:
    /// The process's one.
    static VConfEventProxy& GetInstance();

    /// The platform isn't asked to stop what is still wanted.
    ~VConfEventProxy() override;

    // Each of these is one call of the platform, on the caller's thread and without a lock. False
    // where that fails, because the key doesn't exist or has another type, for instance.

    bool GetValue(const char* key, int& out);
    /// True where the stored integer is 1, else false.
    bool GetValue(const char* key, bool& out);
    bool GetValue(const char* key, double& out);
    /// The string is the caller's, to be freed with free(); null where there is none.
    bool GetValue(const char* key, char*& out);

    bool SetValue(const char* key, int value);
    bool SetValue(const char* key, bool value);
    bool SetValue(const char* key, double value);
    bool SetValue(const char* key, const char* value);

    bool Delete(const char* key);
    /// True once what was set so far is on the disk.
    bool Sync(const char* key);

    // For the base: whether the platform has refused.
    bool OnFirstSubCb(std::string key) override;
    bool OnLastUnsubCb(std::string key) override;

    /// What the platform calls; `user` is the proxy, the node is the platform's.
    static void VConfLibCallback(_keynode_t* node, void* user);

private:
    VConfEventProxy();
};

} // namespace marrow::evt
