// SPDX-License-Identifier: Apache-2.0
#include "Television.h"

#include <fstream>

#include "Sample.h"

std::filesystem::path PrepareTelevision(const std::filesystem::path& folder) {
    const std::filesystem::path file = folder / "stream.ts";
    std::ofstream stream(file, std::ios::binary);
    streammaker::SampleOptions options;
    options.duration = std::chrono::seconds(10);
    MakeSample(options).Write(stream, options.duration);
    std::filesystem::path settings = folder / "television";
    std::ofstream(settings) << "[source]\naddress = " << file.string()
                            << "\npace = clock\nloop = yes\n";
    return settings;
}
