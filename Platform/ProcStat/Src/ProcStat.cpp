// SPDX-License-Identifier: Apache-2.0
#include "ProcStat.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "Dlog.h"

namespace {

constexpr const char* OOM_SCORE_FILE = "/proc/self/oom_score_adj";
constexpr char OOM_SCORE[] = "-900"; // -1000 would exempt the process altogether

int WriteScore() {
    const int descriptor = open(OOM_SCORE_FILE, O_WRONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return -errno;
    }
    const ssize_t written = write(descriptor, OOM_SCORE, sizeof(OOM_SCORE) - 1);
    const int error = written < 0 ? -errno : 0;
    close(descriptor);
    return error;
}

} // namespace

int proc_stat_set_vip_process() {
    const int error = WriteScore();
    if (error < 0) {
        __dlog_print(DLOG_WARN, "PROCSTAT",
                     "cannot write %s to %s: %s; out of memory, this process is as likely to be "
                     "ended as any other\n",
                     OOM_SCORE, OOM_SCORE_FILE, strerror(-error));
    }
    return error;
}
