// SPDX-License-Identifier: Apache-2.0

// A client: has the service "echo" repeat a text.
//
//     echo-client TEXT

#include <iostream>
#include <string>
#include <unistd.h>

#include <hearthd/TCServer.h>

int main(int count, char** arguments) {
    if (count != 2) {
        std::cerr << "usage: echo-client TEXT\n";
        return 2;
    }
    // The daemon knows clients by names of this form.
    Quill::TCServer client("marrow.ser.client.PID_" + std::to_string(getpid()),
                           Quill::TCServer::CLIENT);
    if (!client.CreateDBusServer()) {
        return 3; // the log says why
    }
    Quill::TCMessage message;
    message.subject = "echo";
    message.payload["text"] = arguments[1];
    Quill::TCMessage reply;
    if (client.SendMessage("marrow.ser.server.MessageRouter", &message, true, &reply) < 0) {
        return 1; // the log says why
    }
    // A reply is any JSON value; this key tells that the daemon couldn't deliver the call.
    const Json::Value& answer = reply.payload;
    if (!answer.isObject() || answer.isMember("return_error") || !answer["text"].isString()) {
        std::cerr << "echo-client: " << answer.toStyledString();
        return 1;
    }
    std::cout << answer["text"].asString() << '\n';
    return 0;
}
