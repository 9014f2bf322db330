// SPDX-License-Identifier: Apache-2.0
#include "VConfEventProxy.h"

#include "Log.h"
#include "Probe.h"
#include "SubscriptionManagerImpl.h"
#include "VConf.h"

namespace marrow::evt {

template class IListenable<VConfData>; // its table stands in the executable

template class SubscriptionManager<std::string, VConfData>;

VConfEventProxy& VConfEventProxy::GetInstance() {
    static VConfEventProxy instance;
    return instance;
}

VConfEventProxy::VConfEventProxy() = default;

VConfEventProxy::~VConfEventProxy() = default;

bool VConfEventProxy::GetValue(const char* key, int& out) {
    LOGD("Get key %s", key);
    return vconf_get_int(key, &out) == 0;
}

bool VConfEventProxy::GetValue(const char* key, bool& out) {
    LOGD("Get key %s", key);
    int value = 0;
    if (vconf_get_bool(key, &value) != 0) {
        return false;
    }
    out = value == 1;
    return true;
}

bool VConfEventProxy::GetValue(const char* key, double& out) {
    LOGD("Get key %s", key);
    return vconf_get_dbl(key, &out) == 0;
}

bool VConfEventProxy::GetValue(const char* key, char*& out) {
    LOGD("Get key %s", key);
    out = vconf_get_str(key);
    return out != nullptr;
}

bool VConfEventProxy::SetValue(const char* key, int value) {
    LOGD("Set key %s = %d", key, value);
    return vconf_set_int(key, value) == 0;
}

bool VConfEventProxy::SetValue(const char* key, bool value) {
    LOGD("Set key %s = %d", key, value);
    return vconf_set_bool(key, value ? 1 : 0) == 0;
}

bool VConfEventProxy::SetValue(const char* key, double value) {
    LOGD("Set key %s = %f", key, value);
    return vconf_set_dbl(key, value) == 0;
}

bool VConfEventProxy::SetValue(const char* key, const char* value) {
    LOGD("Set key %s = %s", key, value);
    return vconf_set_str(key, value) == 0;
}

bool VConfEventProxy::Delete(const char* key) {
    LOGD("Delete key %s", key);
    return vconf_unset(key) == 0;
}

bool VConfEventProxy::Sync(const char* key) {
    LOGD("Sync key %s", key);
    return vconf_sync_key(key) == 0;
}

bool VConfEventProxy::OnFirstSubCb(std::string key) {
    LOGI("Subscribe for %s value change", key.c_str());
    return vconf_notify_key_changed(key.c_str(), VConfLibCallback, this) != 0;
}

bool VConfEventProxy::OnLastUnsubCb(std::string key) {
    LOGI("No subscribers for %s. Unsubscribe from platform.", key.c_str());
    return vconf_ignore_key_changed(key.c_str(), VConfLibCallback) != 0;
}

void VConfEventProxy::VConfLibCallback(_keynode_t* node, void* user) {
    HEARTHD_PROBE(hearthd, event_in, "configuration");
    VConfData data(node);
    LOGI("%s value changed. Start notification.", data.GetName().c_str());
    static_cast<VConfEventProxy*>(user)->NotifyAll(data.GetName(), data);
}

} // namespace marrow::evt
