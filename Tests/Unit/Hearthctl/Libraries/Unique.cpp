// SPDX-License-Identifier: Apache-2.0

// A library with a unique symbol, as the compiler makes them without the SDK's flags.

template <typename T>
struct Shared {
    static T value;
};

template <typename T>
T Shared<T>::value{};

void* g_service = &Shared<int>::value;
void* g_service_proxy = nullptr;
