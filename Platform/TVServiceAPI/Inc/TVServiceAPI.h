// SPDX-License-Identifier: Apache-2.0
#pragma once

// The TV service library: what comes out of the television's stream.
//
// On a PC it reads an MPEG transport stream (ISO/IEC 13818-1) from a file, from UDP, or from
// anything that reads like a file, a tuner's dvr device (linux/dvb/dmx.h) or a FIFO. The settings
// file says which; see Docs/tv.md.
//
// A subscriber exists from its Create to its Destroy. The library's one thread, "tv-stream", runs
// while any exists; every callback comes on it and is to return soon, since the stream waits. The
// functions may be called on any thread. Create returns 1 and stores the subscriber, which stays
// the library's, or returns 0 and stores nothing: where a pointer is null, and where the thread
// cannot be started. A second Create of the same kind stores the same subscriber, with the first
// one's callback, profile and screen. Destroy ends all subscriptions of its kind and waits for a
// callback that is under way, unless it is called inside of one; without a subscriber it does
// nothing. Sections are those of the one stream, whatever the profile and screen.

#include "EProfile.h"
#include "IDataSubscriber.h"
#include "IPESDataSubscriber.h"
#include "IProgramSubscriber.h"
#include "ISectionSubscriber.h"
#include "ISignalSubscriber.h"
#include "TCProgramData.h"
#include "TCProgramFilteringItem.h"

namespace TVServiceAPI {

int CreateSignalSubscriber(int (*callback)(ESignalType, EProfile, unsigned short, TSSignalData,
                                           void*),
                           ISignalSubscriber** subscriber);
void DestroySignalSubscriber();

int CreateSectionSubscriber(void (*callback)(bool, unsigned short, unsigned char*, int),
                            EProfile profile, int screen, ISectionSubscriber** subscriber);
void DestroySectionSubscriber();

int CreateProgramSubscriber(void (*callback)(EProgramChangeType, TCProgramData*, int, int),
                            IProgramSubscriber** subscriber);
void DestroyProgramSubscriber();

int CreateDataSubscriber(EProfile profile, int screen, IDataSubscriber** subscriber);
void DestroyDataSubscriber();

int CreatePESDataSubscriber(EProfile profile, int screen, IPESDataSubscriber** subscriber);
void DestroyPESDataSubscriber();

} // namespace TVServiceAPI
