// SPDX-License-Identifier: Apache-2.0
#include "RecordHandler.h"

RecordHandler::~RecordHandler() = default;
