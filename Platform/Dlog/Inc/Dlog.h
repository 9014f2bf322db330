// SPDX-License-Identifier: Apache-2.0
#pragma once

// The platform's log.
//
// On a PC lines go to standard error. The environment variable DLOG_LEVEL names the lowest priority
// that is written: "debug", "info" (the default), "warn", "error" or "off". Where standard error is
// the journal (sd-daemon(3), JOURNAL_STREAM), each line carries the journal's priority prefix and
// no time of its own.
//
// Lines are buffered in the process. They are written when a line of WARN or ERROR comes, when the
// buffer is full, at the latest 200 ms after the oldest waiting line, at exit, and when a signal of
// a fault, SIGABRT, SIGTERM, SIGINT, SIGHUP or SIGQUIT ends the process, where its action was the
// default one when the log was first used. They end the first process of a container too, with 128
// more than their number as its status. A signal doesn't find lines that are just being
// buffered, and none at all where the stack has overflowed.

#ifdef __cplusplus
extern "C" {
#endif

enum DlogPriority {
    DLOG_DEBUG = 3,
    DLOG_INFO = 4,
    DLOG_WARN = 5,
    DLOG_ERROR = 6,
};

/// Writes one line. `format` and what follows are as for printf; a newline at the end is welcome
/// and not doubled. A text of more than 64 KiB is cut, and the line says so.
///
/// Any thread, also during static initialisation; not from a signal handler. Returns the length
/// of the text, 0 for a priority that isn't written, or a negative errno value.
int __dlog_print(int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// How many bytes of a text of this priority are written at the most; 0 where the priority isn't
/// written. For callers whose text is costly to make. Any thread, and it never changes.
///
/// A platform's log may lack it: its address is null then.
unsigned __dlog_room(int priority, const char* tag) __attribute__((weak));

#ifdef __cplusplus
}
#endif
