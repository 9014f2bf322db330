// SPDX-License-Identifier: Apache-2.0
#pragma once

// The platform's configuration store: keys with a type and a value, shared by all processes of the
// machine, with notice of every change.
//
// A key's name is a path of words, "memory/audio/mute" or "db/audio/volume": UTF-8 text of 1 to 255
// bytes without control characters, that neither begins nor ends with '/' and has no "//". Keys
// whose name begins with "memory/" live until the machine restarts, all others for ever. Setting a
// key makes it, or replaces its value and its type.
//
// All functions return 0, or -1 for a failure, which is told in the log (of a store that can't be
// opened once, as long as the reason stays the same); those that return a pointer return null then.
// Any thread may call them. A process that has forked without exec uses the store in the parent
// only.
//
// On a PC the store is a SQLite database: /var/lib/vconf/vconf.db, or the file that the environment
// variable VCONF_DATABASE names. Who may write it may set keys, who may read it may read them.

#ifdef __cplusplus
extern "C" {
#endif

/// The types of values, by number.
enum VConfType {
    VCONF_NONE = 0, ///< of a key that has been removed
    VCONF_STRING = 40,
    VCONF_INT = 41,
    VCONF_DOUBLE = 42,
    VCONF_BOOL = 43,
};

/// A key as it was when its change was noticed. It exists during the callback that brings it.
struct _keynode_t;

// --- values ---

// A key that doesn't exist, or has another type, is a failure, and the result is left alone.

int vconf_get_int(const char* key, int* value);
int vconf_get_bool(const char* key, int* value); ///< the integer that was set
int vconf_get_dbl(const char* key, double* value);
/// The caller's, to be freed with free().
char* vconf_get_str(const char* key);

// What returns 0 is seen by every process from then on. It survives the end of all processes, and
// a loss of power once vconf_sync_key has returned 0, or a while later by itself.

int vconf_set_int(const char* key, int value);
int vconf_set_bool(const char* key, int value); ///< kept as it is, not only 0 and 1
/// Any double but NaN.
int vconf_set_dbl(const char* key, double value);
/// UTF-8 text of at most 1 MiB; a copy is kept.
int vconf_set_str(const char* key, const char* value);

/// Removes the key; a key that doesn't exist is a failure.
int vconf_unset(const char* key);

/// Returns when everything that was set or removed so far is on the disk. The key must be well
/// formed; it may be one that doesn't exist.
int vconf_sync_key(const char* key);

// --- changes ---

/// Called on a thread of the library's own, one callback at a time and with no lock of the library
/// held: it may call any function here. `node` is the library's and gone afterwards.
typedef void (*vconf_callback_t)(struct _keynode_t* node, // NOLINT(modernize-use-using): C too
                                 void* user);

/// From when this returns 0 the callback is told of each change of the key, by whichever process,
/// this one included: a value that is set, the same value that is set again, and the removal (type
/// VCONF_NONE). Changes come in the order in which they were made, over all keys. A key that is
/// changed again before the library could look is told once, with its last value.
///
/// The key needn't exist. The same key and callback a second time is a failure; other callbacks may
/// be added to a key.
int vconf_notify_key_changed(const char* key, vconf_callback_t callback, void* user);

/// Ends that: no change that is noticed from then on is told. It doesn't wait for a callback that
/// is under way, which may enter its function a moment later still: so the caller may hold locks
/// which that one wants, and `user` must go on to exist. A callback that isn't there is a failure.
int vconf_ignore_key_changed(const char* key, vconf_callback_t callback);

// --- a changed key ---

// The strings are the node's. The value of another type than the node's is 0, 0.0 or an empty
// string.

const char* vconf_keynode_get_name(const struct _keynode_t* node);
int vconf_keynode_get_type(const struct _keynode_t* node); ///< a VConfType
int vconf_keynode_get_int(const struct _keynode_t* node);
int vconf_keynode_get_bool(const struct _keynode_t* node); ///< the integer that was set
double vconf_keynode_get_dbl(const struct _keynode_t* node);
const char* vconf_keynode_get_str(const struct _keynode_t* node);

#ifdef __cplusplus
}
#endif
