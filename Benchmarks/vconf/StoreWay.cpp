// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "KeepingWays.h"
#include "VConf.h"

namespace {

constexpr const char* KEY = "db/bench/value";

void Check(int result) {
    if (result != 0) {
        throw std::runtime_error("the store has failed");
    }
}

class StoreWay final : public KeepingWay {
public:
    explicit StoreWay(const std::string& folder) {
        setenv("VCONF_DATABASE", (folder + "/vconf.db").c_str(), 1);
    }
    ~StoreWay() override { vconf_ignore_key_changed(KEY, OnChange); }

    void Set(const std::string& value) override { Check(vconf_set_str(KEY, value.c_str())); }
    void SetAndSync(const std::string& value) override {
        Set(value);
        Check(vconf_sync_key(KEY));
    }
    void Watch(std::function<void(const std::string&)> told) override {
        m_told = std::move(told);
        Check(vconf_notify_key_changed(KEY, OnChange, this));
    }

private:
    static void OnChange(struct _keynode_t* node, void* user) {
        static_cast<StoreWay*>(user)->m_told(vconf_keynode_get_str(node));
    }

    std::function<void(const std::string&)> m_told;
};

} // namespace

std::unique_ptr<KeepingWay> MakeStoreWay(const std::string& folder) {
    return std::make_unique<StoreWay>(folder);
}
