// SPDX-License-Identifier: Apache-2.0

// A library for ProcedureNameTest, which is linked in more than one way.
extern "C" int ProcedureOfTheLibrary(int number);
extern "C" int ProcedureOfTheLibrary(int number) {
    return number + 1;
}
