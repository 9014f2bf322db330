// SPDX-License-Identifier: Apache-2.0
#include "Payload.h"

std::string MakePayload(std::size_t size) {
    std::string payload = R"({"command":"set","id":17,"live":true,"list":[)";
    const std::string tail = R"(],"text":")";
    const std::string end = R"("})";
    for (int i = 0;; ++i) {
        const std::string number = std::to_string(i);
        const std::string record = (i == 0 ? "" : ",") + std::string(R"({"name":"entry-)") +
                                   number + R"(","level":0.25,"on":false,"index":)" + number + "}";
        if (payload.size() + record.size() + tail.size() + end.size() > size) {
            break;
        }
        payload += record;
    }
    payload += tail;
    while (payload.size() + end.size() < size) {
        payload += 'x';
    }
    return payload + end;
}
