// SPDX-License-Identifier: Apache-2.0

// Decoding, encoding and rendering of payloads of several sizes, by the daemon's code and by the
// JSON library alone, both with whatever they keep between two texts warm.

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <json/json.h>

#include "JsonCodec.h"
#include "LibraryJson.h"
#include "Measuring.h"
#include "Payload.h"
#include "StyledText.h"

namespace {

std::atomic<long> g_allocations{0};

} // namespace

// The JSON library allocates strings and keys through malloc, everything else through new, which
// comes here as well.
extern "C" void* __libc_malloc(std::size_t size); // NOLINT(bugprone-reserved-identifier)
extern "C" void* malloc(std::size_t size) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}

namespace {

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "bench-json: %s\n", what);
    std::exit(1);
}

Json::Value DecodeOurs(const std::string& text) {
    Json::Value value;
    std::string error;
    if (!Quill::JsonCodec::Decode(text, Quill::JsonCodec::Root::OBJECT, value, error)) {
        Fail(error.c_str());
    }
    return value;
}

Json::Value DecodeTheirs(const std::string& text) {
    Json::Value value;
    std::string error;
    if (!DecodeByLibrary(text, value, error)) {
        Fail(error.c_str());
    }
    return value;
}

std::string StyleTheirs(const Json::Value& value) {
    static const std::unique_ptr<Json::StreamWriter> writer(
        Json::StreamWriterBuilder().newStreamWriter());
    return WriteByLibrary(*writer, value) + '\n';
}

// One way to do one thing.
struct Way {
    std::function<std::size_t()> once; ///< the sum of what it returns can't be optimised away
    std::vector<double> microseconds;
    long allocations = 0;
};

struct Duel {
    const char* name;
    Way ours;
    Way theirs;
};

std::size_t g_sum = 0;

void Measure(Way& way, unsigned count) {
    g_sum += way.once();
    const long allocationsBefore = g_allocations;
    const double begin = ProcessorNanoseconds();
    for (unsigned i = 0; i < count; ++i) {
        g_sum += way.once();
    }
    const double taken = ProcessorNanoseconds() - begin;
    way.allocations = (g_allocations - allocationsBefore) / count;
    way.microseconds.push_back(taken / 1e3 / count);
}

void Run(std::size_t size, unsigned rounds) {
    const std::string text = MakePayload(size);
    const Json::Value value = DecodeOurs(text);
    if (value != DecodeTheirs(text) || EncodeByLibrary(value) != Quill::JsonCodec::Encode(value) ||
        StyleTheirs(value) != marrow::msg::StyledText(value)) {
        Fail("the two disagree");
    }
    std::vector<Duel> duels;
    duels.push_back({"decode",
                     {[&] { return std::size_t{DecodeOurs(text).size()}; }, {}, 0},
                     {[&] { return std::size_t{DecodeTheirs(text).size()}; }, {}, 0}});
    duels.push_back({"encode",
                     {[&] { return Quill::JsonCodec::Encode(value).size(); }, {}, 0},
                     {[&] { return EncodeByLibrary(value).size(); }, {}, 0}});
    duels.push_back({"styled",
                     {[&] { return marrow::msg::StyledText(value).size(); }, {}, 0},
                     {[&] { return StyleTheirs(value).size(); }, {}, 0}});
    const auto count = static_cast<unsigned>(std::max<std::size_t>(10, 400000 / size));
    // Interleaved, so that a noisy minute meets them all.
    for (unsigned round = 0; round < rounds; ++round) {
        for (Duel& duel : duels) {
            Measure(duel.ours, count);
            Measure(duel.theirs, count);
        }
    }
    for (const Duel& duel : duels) {
        const double ours = MedianOf(duel.ours.microseconds);
        const double theirs = MedianOf(duel.theirs.microseconds);
        std::printf("%6zu bytes, %s: %8.2f us, %5ld allocations; the library %8.2f us, %5ld: "
                    "%.2f of its time\n",
                    text.size(), duel.name, ours, duel.ours.allocations, theirs,
                    duel.theirs.allocations, ours / theirs);
    }
}

} // namespace

int main(int argc, char** argv) {
    const unsigned rounds = argc > 1 ? static_cast<unsigned>(std::max(1, std::atoi(argv[1]))) : 15;
    for (const std::size_t size : {100UL, 4096UL, 65536UL}) {
        Run(size, rounds);
    }
    return g_sum == 0 ? 1 : 0;
}
