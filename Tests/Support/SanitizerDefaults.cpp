// SPDX-License-Identifier: Apache-2.0

// How the sanitizers behave in every program of their builds. A suppression names one function and
// says why what it does is meant.

extern "C" {

const char* __asan_default_options() {
    return "detect_leaks=1:detect_stack_use_after_return=1:abort_on_error=1";
}

const char* __ubsan_default_options() {
    return "print_stacktrace=1:halt_on_error=1:abort_on_error=1";
}

const char* __lsan_default_suppressions() {
    // The two loaders live until the process ends; the map that names them frees its nodes alone.
    // A declared service lives as long as the process too; tests make several managers.
    return "leak:ServiceLoader::Get\n"
           "leak:ServiceManager::LoadServiceManifest\n";
}

const char* __tsan_default_options() {
    return "halt_on_error=1:abort_on_error=1:second_deadlock_stack=1";
}

const char* __tsan_default_suppressions() {
    // The debug shell's D-Bus channel has no lock around its commands: they register while the
    // process starts, and messages come afterwards, which nothing but that order tells.
    // A watchdog that ends closes the descriptor from which its worker is reading: that is how the
    // worker learns of it.
    // The C++ library counts who holds an exception that a future brings to another thread, and
    // isn't built with the sanitizer.
    return "race:marrow::dbg::DbusIPC::FindMessenger\n"
           "race:APIWatchdog::~APIWatchdog\n"
           "race:std::__exception_ptr::exception_ptr::_M_release\n";
}

} // extern "C"
