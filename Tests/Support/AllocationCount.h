// SPDX-License-Identifier: Apache-2.0
#pragma once

/// How often the process has allocated through `new` so far. Linking AllocationCount.cpp counts.
long AllocationCount();
