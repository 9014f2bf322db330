// SPDX-License-Identifier: Apache-2.0
#pragma once

class TCProgramFilteringItem;

/// What a callback with program data is about. The data describes the whole program each time,
/// but for the end of a list.
enum EProgramChangeType : int {
    PROGRAM_APPEARED = 1,          ///< a program stands in the PAT; `event` is the present one
    PROGRAM_CHANGED = 2,           ///< its PMT or its entry in the SDT has changed
    PROGRAM_GONE = 3,              ///< it isn't in the PAT any more; the data is the last known
    PROGRAM_PRESENT_CHANGED = 4,   ///< another present event, or other data of it: in `event`
    PROGRAM_FOLLOWING_CHANGED = 5, ///< another following event, or other data of it: in `event`
    PROGRAM_LISTED = 6,            ///< one entry of a list: in `event`
    PROGRAM_LIST_END = 7,          ///< the list as it stands has been told; no program
    PROGRAM_SCHEDULE_CHANGED = 8,  ///< an event of a list is new or has changed: in `event`
};

/// What a list is to bring.
enum ESubscribeType : int {
    SUBSCRIBE_ONCE = 0,    ///< the list as it stands; that ends the subscription
    SUBSCRIBE_CHANGES = 1, ///< only what changes from now on
    SUBSCRIBE_BOTH = 2,    ///< the list as it stands, then what changes
};

/// The process's subscriber of program data, which TVServiceAPI::CreateProgramSubscriber makes. Any
/// thread.
///
/// The callback, void (EProgramChangeType, TCProgramData* data, int param, int id), comes on the
/// library's thread, one call after the other and never from within a call of this interface;
/// `data` is the library's and holds until the callback returns. `param` is the one of the list's
/// subscription, 0 for those of SubscribeProgram; `id` is the subscription's.
///
/// Where several of these results exist: 1 is success, 0 is a refusal, and `id` is left as it was
/// then.
class IProgramSubscriber {
public:
    virtual ~IProgramSubscriber();

    /// Changes of programs: PROGRAM_APPEARED to PROGRAM_FOLLOWING_CHANGED. Programs that are known
    /// already come first, each with PROGRAM_APPEARED.
    virtual int SubscribeProgram(TCProgramFilteringItem const& filter, int& id) = 0;

    /// Ends any subscription of this interface; a callback that is under way may still come.
    virtual int UnsubscribeProgram(int id) = 0;

    /// Present and following event of the services that `list` names (MakeServiceKey; a part of 0
    /// stands for any). The list's entries are PROGRAM_LISTED, the present event ahead of the
    /// following one, and PROGRAM_LIST_END; what changes later is PROGRAM_PRESENT_CHANGED and
    /// PROGRAM_FOLLOWING_CHANGED. `param` is the caller's own number. Refused where `type` is none
    /// of the enumeration.
    virtual int SubscribeProgramListPF(int param, unsigned long long const& list,
                                       ESubscribeType type, int& id) = 0;

    /// The schedule: the events of those services that are on air at any time from `first` up to,
    /// and not including, `second` (UTC, seconds since 1970), in the order of their start. Later
    /// changes are PROGRAM_SCHEDULE_CHANGED. Refused where `second` isn't above `first`, or `type`
    /// is none of the enumeration.
    virtual int SubscribeProgramList(int param, unsigned long long const& list, unsigned int first,
                                     unsigned int second, ESubscribeType type, int& id) = 0;
};
