// SPDX-License-Identifier: Apache-2.0
#include "NotificationListener.h"

#include <json/json.h>
#include <sstream>

#include "DaemonTest.h"
#include "SoakNames.h"

void NotificationListener::OnConnect(RawClient& client) {
    client.Match(std::string("type='signal',interface='quill.Endpoint1',arg0='") + ROUTER_SIGNAL +
                 SOAK_SERVICE + "'");
    m_mayMiss = true;
}

void NotificationListener::Use(RawClient& client) {
    if (const auto signal = client.Next(std::chrono::seconds(1))) {
        Json::Value payload;
        std::istringstream(signal->arguments.at(2)) >> payload;
        Judge(payload["number"].asInt());
    }
}

void NotificationListener::Judge(int number) {
    const int missed = number - m_last - 1;
    if (missed < 0 || (missed > 0 && !m_mayMiss)) {
        Fail("after " + std::to_string(m_last) + " came " + std::to_string(number));
    }
    if (m_heard++ > 0 && missed > 0) {
        m_lost += missed;
    }
    m_last = number;
    m_mayMiss = false;
}
