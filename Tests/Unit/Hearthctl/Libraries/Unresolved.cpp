// SPDX-License-Identifier: Apache-2.0

// A library that needs functions which nobody has, in places to which nobody comes.

namespace nobody {

void Has(int number);

} // namespace nobody

extern "C" void i(); // the name of a type, were it mangled

extern "C" void NobodyCallsThis() {
    nobody::Has(1);
    i();
}

void* g_service = nullptr;
void* g_service_proxy = nullptr;
