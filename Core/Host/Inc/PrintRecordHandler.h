// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "RecordHandler.h"

/// Prints each record as one line on standard output and flushes it.
class PrintRecordHandler : public RecordHandler {
public:
    void handle(record_t record) override;
};
