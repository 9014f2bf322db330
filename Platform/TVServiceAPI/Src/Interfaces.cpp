// SPDX-License-Identifier: Apache-2.0

// Destructors and copies out of line: the tables of virtual operations stand in this library.

#include "IDataSubscriber.h"
#include "IPESDataSubscriber.h"
#include "IProgramSubscriber.h"
#include "ISectionSubscriber.h"
#include "ISignalSubscriber.h"
#include "TCProgramData.h"
#include "TSCaption.h"

ISignalSubscriber::~ISignalSubscriber() = default;
ISectionSubscriber::~ISectionSubscriber() = default;
IProgramSubscriber::~IProgramSubscriber() = default;
IDataSubscriber::~IDataSubscriber() = default;
IPESDataSubscriber::~IPESDataSubscriber() = default;

TCProgramData::TCProgramData() = default;
TCProgramData::TCProgramData(const TCProgramData&) = default;
TCProgramData& TCProgramData::operator=(const TCProgramData&) = default;
TCProgramData::~TCProgramData() = default;
bool TCProgramData::operator==(const TCProgramData&) const = default;

TSCaption::TSCaption() = default;
TSCaption::TSCaption(const TSCaption&) = default;
TSCaption::TSCaption(TSCaption&&) noexcept = default;
TSCaption& TSCaption::operator=(const TSCaption&) = default;
TSCaption& TSCaption::operator=(TSCaption&&) noexcept = default;
TSCaption::~TSCaption() = default;
