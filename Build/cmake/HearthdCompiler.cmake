# Compiler settings that every target of the tree shares, through hearthd_settings.
find_program(HEARTHD_CCACHE ccache)
if(HEARTHD_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${HEARTHD_CCACHE})
endif()

add_library(hearthd_settings INTERFACE)
target_compile_options(hearthd_settings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual
    -Wformat=2 -Wundef -Wimplicit-fallthrough -Wextra-semi -Werror)

# A unique symbol (STB_GNU_UNIQUE) keeps a hosted library mapped after dlclose, so that its
# initialisers would not run again. Host and services are built without them.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fno-gnu-unique HEARTHD_HAS_NO_GNU_UNIQUE)
if(HEARTHD_HAS_NO_GNU_UNIQUE)
    target_compile_options(hearthd_settings INTERFACE -fno-gnu-unique)
endif()

if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    add_compile_definitions(_FILE_OFFSET_BITS=64) # streams are larger than 2 GiB
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(hearthd_settings INTERFACE -Wduplicated-cond -Wlogical-op)
endif()
if(HEARTHD_SANITIZE)
    # One flag string for compiler and linker. Frame pointers make the reports readable.
    set(HEARTHD_SANITIZE_FLAGS -fsanitize=${HEARTHD_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=undefined)
    # g++ takes fields of the standard library for uninitialised there, in <regex> for one.
    add_compile_options(${HEARTHD_SANITIZE_FLAGS} -O1
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    add_link_options(${HEARTHD_SANITIZE_FLAGS})
endif()
# What every program of an instrumented build carries.
add_library(instrumentation INTERFACE)
if(HEARTHD_COVERAGE)
    target_sources(instrumentation INTERFACE
        ${PROJECT_SOURCE_DIR}/Tests/Support/CoverageCounts.cpp)
endif()
if(HEARTHD_SANITIZE)
    target_sources(instrumentation INTERFACE
        ${PROJECT_SOURCE_DIR}/Tests/Support/SanitizerDefaults.cpp)
endif()
if(HEARTHD_SANITIZE MATCHES "thread" OR HEARTHD_VALGRIND)
    target_sources(instrumentation INTERFACE ${PROJECT_SOURCE_DIR}/Tests/Support/GlibOrder.cpp)
    target_link_libraries(instrumentation INTERFACE PkgConfig::HEARTHD_GLIB)
endif()
if(HEARTHD_VALGRIND)
    add_compile_options(
        "SHELL:-include ${PROJECT_SOURCE_DIR}/Tests/Support/Valgrind/AtomicOrder.h")
endif()
if(NOT HEARTHD_PROBES)
    add_compile_definitions(HEARTHD_NO_PROBES)
endif()
if(HEARTHD_THREAD_SAFETY)
    add_compile_options(-Wthread-safety -Wthread-safety-beta -Werror=thread-safety)
endif()
if(HEARTHD_FUZZERS)
    add_compile_options(-fsanitize=fuzzer-no-link) # tells the fuzzer which code an input reaches
endif()
if(HEARTHD_COVERAGE)
    add_compile_options(--coverage -O0 -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
