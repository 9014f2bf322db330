// SPDX-License-Identifier: Apache-2.0
#pragma once

/// How often, in all threads, a JSON object has been copied that has the member COUNTED: by
/// construction or by assignment, and whichever library did it. Linking CopyCount.cpp puts a copy
/// constructor ahead of JsonCpp's that counts and then calls that.
class CopyCount {
public:
    static constexpr const char* COUNTED = "copies of this are counted";

    static int Get();
    static void Reset();
};
