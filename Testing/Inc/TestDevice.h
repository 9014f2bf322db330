// SPDX-License-Identifier: Apache-2.0
#pragma once

/// \file
/// What a service under test hears of the device: the test presses keys, changes the configuration
/// and plays the television's library. Everything goes through the daemon's proxies, on the threads
/// on which it comes there, to the worker that a listener names: when one of these functions has
/// returned, the event of the television is in the queue of each listener's worker. What services
/// have subscribed to so far is in force before anything is sent. Any thread but a worker's.
///
/// Nothing of it reaches the machine. Environment variables that the kit sets: DISPLAY, without
/// which there is no X server in the test either, and VCONF_DATABASE, a file of the process's own.

#include <string>
#include <vector>

#include "IProgramSubscriber.h"
#include "ISignalSubscriber.h"
#include "TCProgramData.h"
#include "TSCaption.h"
#include "TSPESData.h"

namespace hearthd::testing {

// --- keys ---

/// A key goes down, or up, by the name of its keysym. False where the daemon hasn't grabbed it:
/// no service has subscribed to it. XF86MBRMenu, XF86STBPower and XF86MBRSTBGuide are grabbed as
/// soon as one has subscribed to any key. The daemon looks for keys each 100 ms.
bool PressKey(const std::string& name);
bool ReleaseKey(const std::string& name);

// --- configuration ---

/// Sets a key as another process would; false where the store refuses. What it holds at the end of
/// a test is there in the next one. VConfEventProxy reads and removes keys.
bool SetConfiguration(const std::string& key, int value);
bool SetConfiguration(const std::string& key, bool value);
bool SetConfiguration(const std::string& key, double value);
bool SetConfiguration(const std::string& key, const char* value);

// --- television ---

/// False where nobody has subscribed to that signal.
bool SendSignal(ESignalType signal, EProfile profile, unsigned short screen, TSSignalData data);

/// A whole section of that PID, with its CRC_32 where it has one, to each filter that lets it
/// through: their number. A section shorter or longer than it says is none: 0.
int SendSection(unsigned short pid, const std::vector<unsigned char>& section);

/// A change of a program, to each subscription that wants it: their number, with those that
/// services have left, of which the daemon doesn't tell its platform. The kit knows no programs by
/// itself: a subscription begins with what the test sends then.
int SendProgram(EProgramChangeType type, const TCProgramData& program);

/// False where nobody has subscribed.
bool SendCaption(const TSCaption& caption);
/// False where nobody has subscribed. `profile`, `screen` and `subscription` are the kit's.
bool SendPes(const TSPESData& packet);

} // namespace hearthd::testing
