// SPDX-License-Identifier: Apache-2.0
#include "SettingWriter.h"

#include "Program.h"
#include "VConf.h"

void SettingWriter::Act() {
    if (!Write(m_last + 1)) {
        Fail("refused");
        return;
    }
    ++m_last;
    Rest(std::chrono::milliseconds(m_by == By::PROGRAM ? Random(200, 1000) : Random(0, 50)));
}

bool SettingWriter::Write(int value) const {
    if (m_by == By::THIS_PROCESS) {
        return vconf_set_int(m_key.c_str(), value) == 0;
    }
    Program program({HEARTHD_STAGE "/usr/bin/vconf", "set", m_key, std::to_string(value)});
    return program.Wait() == 0;
}
