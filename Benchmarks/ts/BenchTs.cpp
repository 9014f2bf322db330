// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>

#include "Runs.h"

std::vector<std::uint16_t> SectionPids() {
    std::vector<std::uint16_t> pids{0, SDT_PID, EIT_PID};
    for (unsigned service = 0; service < SERVICES; ++service) {
        pids.push_back(static_cast<std::uint16_t>(FIRST_PMT_PID + service));
    }
    return pids;
}

std::vector<std::uint16_t> FilterPids() {
    std::vector<std::uint16_t> pids = SectionPids();
    pids.resize(FILTERS, EIT_PID);
    return pids;
}

int main(int argc, char** argv) try {
    const std::string verb = argc > 1 ? argv[1] : "";
    if (verb == "make" && argc == 5) {
        MakeMultiplex(argv[2], argv[3], static_cast<unsigned>(std::atoi(argv[4])));
        return 0;
    }
    if (argc != 3 || (verb != "library" && verb != "dvbpsi" && verb != "dvbpsi32")) {
        std::fputs("bench-ts make INPUT OUTPUT COPIES\n"
                   "bench-ts library|dvbpsi|dvbpsi32 FILE\n",
                   stderr);
        return 2;
    }
    const std::string path = argv[2];
    const RunResult result = verb == "library"  ? RunLibrary(path)
                             : verb == "dvbpsi" ? RunDvbpsi(path, SectionPids())
                                                : RunDvbpsi(path, FilterPids());
    const double megabytes = static_cast<double>(std::filesystem::file_size(path)) / 1e6;
    std::printf("%.1f MB/s, %llu sections, %llu captions, %llu PES packets\n",
                megabytes / result.seconds, static_cast<unsigned long long>(result.sections),
                static_cast<unsigned long long>(result.captions),
                static_cast<unsigned long long>(result.pesPackets));
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "bench-ts: %s\n", error.what());
    return 1;
}
