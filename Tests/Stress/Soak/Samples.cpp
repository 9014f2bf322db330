// SPDX-License-Identifier: Apache-2.0
#include "Samples.h"

#include <algorithm>
#include <stdexcept>

#include "ProcessUse.h"

Samples::Samples(const std::string& file) : m_file(file) {
    if (!m_file) {
        throw std::runtime_error("cannot write " + file);
    }
    m_file << "# seconds  memory[MiB]  descriptors  threads  processor[s]  calls  log[KiB]\n";
}

void Samples::Take(pid_t process, double calls, double logBytes) {
    const std::chrono::duration<double> since = Clock::now() - m_begin;
    const Sample sample{.seconds = since.count(),
                        .memory = static_cast<double>(AnonymousMemory(process)) / (1 << 20),
                        .descriptors = static_cast<double>(OpenDescriptors(process)),
                        .threads = static_cast<double>(CountThreadsOf(process)),
                        .processorTime =
                            std::chrono::duration<double>(ProcessorTime(process)).count(),
                        .calls = calls,
                        .log = logBytes / 1024};
    m_samples.push_back(sample);
    m_file << std::fixed << sample.seconds << ' ' << sample.memory << ' ' << sample.descriptors
           << ' ' << sample.threads << ' ' << sample.processorTime << ' ' << sample.calls << ' '
           << sample.log << std::endl; // a run that is cut short can be drawn too
}

double Samples::Median(double Sample::*figure, double from, double to) const {
    const double whole = m_samples.back().seconds;
    std::vector<double> values;
    for (const Sample& sample : m_samples) {
        if (sample.seconds >= from * whole && sample.seconds <= to * whole) {
            values.push_back(sample.*figure);
        }
    }
    if (values.empty()) {
        throw std::logic_error("no sample in this stretch");
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}
