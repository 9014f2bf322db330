// SPDX-License-Identifier: Apache-2.0
#include "VConf.h"

#include <cstring>
#include <exception>
#include <new>

#include "KeyName.h"
#include "KeyNode.h"
#include "SharedStore.h"
#include "StoreError.h"
#include "VConfLog.h"

namespace {

using vconf::KeyError;
using vconf::OpenError;
using vconf::SharedStore;
using vconf::Store;
using vconf::StoredValue;

// What goes wrong in `work` goes to the log.
template <typename Work>
int Do(const char* function, const Work& work) {
    try {
        work();
        return 0;
    } catch (const OpenError&) { // that is told once
    } catch (const KeyError& error) {
        VCONF_LOG(DLOG_WARN, "%s: %s", function, error.what());
    } catch (const std::exception& error) {
        VCONF_LOG(DLOG_ERROR, "%s: %s", function, error.what());
    }
    return -1;
}

void CheckPointers(const char* key, const void* value) {
    if (key == nullptr || value == nullptr) {
        throw KeyError("a null pointer");
    }
}

StoredValue Read(const char* key, VConfType type) {
    return SharedStore::Get().Reading().Use([&](Store& store) { return store.Get(key, type); });
}

template <typename Work>
void Write(const Work& work) {
    SharedStore::Get().Writing().Use(work);
}

int ReadInteger(const char* function, const char* key, VConfType type, int* value) {
    return Do(function, [&] {
        CheckPointers(key, value);
        *value = Read(key, type).integer;
    });
}

} // namespace

int vconf_get_int(const char* key, int* value) {
    return ReadInteger(__func__, key, VCONF_INT, value);
}

int vconf_get_bool(const char* key, int* value) {
    return ReadInteger(__func__, key, VCONF_BOOL, value);
}

int vconf_get_dbl(const char* key, double* value) {
    return Do(__func__, [&] {
        CheckPointers(key, value);
        *value = Read(key, VCONF_DOUBLE).real;
    });
}

char* vconf_get_str(const char* key) {
    char* copy = nullptr;
    Do(__func__, [&] {
        CheckPointers(key, key);
        copy = strdup(Read(key, VCONF_STRING).text.c_str());
        if (copy == nullptr) {
            throw std::bad_alloc();
        }
    });
    return copy;
}

int vconf_set_int(const char* key, int value) {
    return Do(__func__, [&] {
        CheckPointers(key, key);
        Write([&](Store& store) { store.SetInt(key, value); });
    });
}

int vconf_set_bool(const char* key, int value) {
    return Do(__func__, [&] {
        CheckPointers(key, key);
        Write([&](Store& store) { store.SetBool(key, value); });
    });
}

int vconf_set_dbl(const char* key, double value) {
    return Do(__func__, [&] {
        CheckPointers(key, key);
        Write([&](Store& store) { store.SetDouble(key, value); });
    });
}

int vconf_set_str(const char* key, const char* value) {
    return Do(__func__, [&] {
        CheckPointers(key, value);
        Write([&](Store& store) { store.SetString(key, value); });
    });
}

int vconf_unset(const char* key) {
    return Do(__func__, [&] {
        CheckPointers(key, key);
        Write([&](Store& store) { store.Unset(key); });
    });
}

int vconf_sync_key(const char* key) {
    return Do(__func__, [&] {
        CheckPointers(key, key);
        vconf::CheckKeyName(key);
        SharedStore::Get().Syncing().Use([](Store& store) { store.Sync(); });
    });
}

int vconf_notify_key_changed(const char* key, vconf_callback_t callback, void* user) {
    return Do(__func__, [&] {
        CheckPointers(key, key);
        SharedStore::Get().Changes().Add(key, callback, user);
    });
}

int vconf_ignore_key_changed(const char* key, vconf_callback_t callback) {
    return Do(__func__, [&] {
        CheckPointers(key, key);
        SharedStore::Get().Changes().Remove(key, callback);
    });
}

const char* vconf_keynode_get_name(const struct _keynode_t* node) {
    return node != nullptr ? node->key.name.c_str() : nullptr;
}

int vconf_keynode_get_type(const struct _keynode_t* node) {
    return node != nullptr ? node->key.value.type : -1;
}

int vconf_keynode_get_int(const struct _keynode_t* node) {
    return node != nullptr && node->key.value.type == VCONF_INT ? node->key.value.integer : 0;
}

int vconf_keynode_get_bool(const struct _keynode_t* node) {
    return node != nullptr && node->key.value.type == VCONF_BOOL ? node->key.value.integer : 0;
}

double vconf_keynode_get_dbl(const struct _keynode_t* node) {
    return node != nullptr ? node->key.value.real : 0.0;
}

const char* vconf_keynode_get_str(const struct _keynode_t* node) {
    return node != nullptr ? node->key.value.text.c_str() : "";
}
