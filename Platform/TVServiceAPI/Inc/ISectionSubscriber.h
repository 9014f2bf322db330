// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "TCSectionCriteriaHelper.h"

/// The subscriber of table sections, which TVServiceAPI::CreateSectionSubscriber makes. Any thread.
///
/// The callback, void (bool flag, unsigned short size, unsigned char* data, int id), comes on the
/// library's thread, one call after the other, once for each section and filter that it matches:
///
/// - `flag`: the section's CRC_32 is right, or it has none. Only a filter without the CRC check
///   ever gets false.
/// - `size`: of the whole section in bytes, table id and CRC_32 included; at most 4096.
/// - `data`: the section. The memory is the library's and holds until the callback returns.
/// - `id`: the one that the filter was started with.
class ISectionSubscriber {
public:
    virtual ~ISectionSubscriber();

    /// Starts a filter. `id` is the caller's own and comes back with each callback; nothing asks
    /// that it be the only one of its kind. `handle` names the filter. Returns 1, or 0 where the
    /// criteria's PID is out of range; `handle` is left as it was then.
    virtual int SubscribeSection(int id, TCSectionCriteriaHelper const& criteria, int& handle) = 0;

    /// Gives a running filter other criteria; it forgets which sections it has seen. Returns 1, or
    /// 0 where there is no such filter or the PID is out of range.
    virtual int ChangeSection(int handle, TCSectionCriteriaHelper const& criteria) = 0;

    /// Stops a filter. Once this has returned 1 no callback comes for it. Returns 0 where there is
    /// no such filter, and where a callback for it is under way and hasn't ended within 20 ms, as
    /// when it waits for a lock that the caller holds: the filter goes on then, try again. Inside
    /// of the callback itself it succeeds at once.
    virtual int UnsubscribeSection(int handle) = 0;
};
