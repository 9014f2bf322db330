// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "EProfile.h"

/// What has happened to the stream. Each signal goes to every profile and screen that the settings
/// name, SIGNAL_PMT_CHANGED only to those that show the program.
enum ESignalType : int {
    SIGNAL_STREAM_FOUND = 1, ///< packets come, in step: after the start, and after a loss
    SIGNAL_STREAM_LOST = 2,  ///< no packet for two seconds, no step in the bytes, or no source
    SIGNAL_PAT_CHANGED = 3,  ///< a new version of the program association table, or the first
    SIGNAL_PMT_CHANGED = 4,  ///< a new version of the program's map table, or the first
    SIGNAL_TIME = 5,         ///< the stream tells the time (TDT or TOT)
    SIGNAL_END_OF_FILE = 6,  ///< the file has been played to its end
};

/// Eight bytes of data that come with a signal.
///
/// - SIGNAL_STREAM_FOUND: `value` counts how often it has been found, from 1; `extra` is 0.
/// - SIGNAL_STREAM_LOST: `value` counts the bytes that were skipped in search of the step so far,
///   `extra` the packets that are marked as wrong and the gaps in continuity_counters, on the PIDs
///   that somebody follows, once for each who does.
/// - SIGNAL_PAT_CHANGED: transport_stream_id and version_number (ISO/IEC 13818-1, 2.4.4.3).
/// - SIGNAL_PMT_CHANGED: `value` is the program_number (ISO/IEC 13818-1, 2.4.4.8). `extra` holds
///   the table's PID in bits 0 to 12 and its version_number in bits 16 to 20.
/// - SIGNAL_TIME: `value` is UTC in seconds since 1970 (EN 300 468, 5.2.5 and 5.2.6). `extra` is
///   the local offset in seconds, an int32_t: that of a TOT's first local_time_offset, else 0.
/// - SIGNAL_END_OF_FILE: `value` counts how often the end was reached, from 1; `extra` is 1 where
///   the file begins again, else 0.
struct TSSignalData {
    std::uint32_t value;
    std::uint32_t extra;
};
static_assert(sizeof(TSSignalData) == 8);

/// The process's subscriber of signals, which TVServiceAPI::CreateSignalSubscriber makes. Any
/// thread; the callback comes on the library's thread, one call after the other.
class ISignalSubscriber {
public:
    virtual ~ISignalSubscriber();

    /// Starts the delivery of a signal for a profile and screen; `user` is the last argument of the
    /// callback. A second subscription of the same three replaces the first one's `user`. The
    /// stream's present state is not delivered, only what happens from now on. Returns 1, or 0
    /// where the signal or the profile is none of the enumerations.
    virtual int SubscribeSignal(ESignalType signal, void* user, EProfile profile,
                                unsigned short screen) = 0;

    /// Stops it; a callback that is under way may still come. Returns 1, or 0 where there was no
    /// such subscription.
    virtual int UnsubscribeSignal(ESignalType signal, EProfile profile, unsigned short screen) = 0;
};
