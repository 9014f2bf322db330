// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <hearthd/HostedLibrary.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>

#include "HostedProbe.h"

// A service that tells HostedProbe what becomes of it. Each library has its own copy, and one
// source that says what its two variables hold.

namespace {

// Tells of the library's opening and closing; it is there before the service and goes after it.
class Library {
public:
    Library() {
        HostedProbe::Get().Add("library opened");
        if (HostedProbe::Get().atOpen) {
            HostedProbe::Get().atOpen();
        }
    }
    ~Library() { HostedProbe::Get().Add("library closed"); }
};

const Library library;

class ProbedService : public marrow::ser::Service {
public:
    explicit ProbedService(const char* name = "probed") : Service(name) {
        HostedProbe::Get().Keep(this);
        HostedProbe::Get().Add("service made");
    }
    ~ProbedService() override { HostedProbe::Get().Add("service deleted"); }

protected:
    bool OnStart() override {
        HostedProbe::Get().Add("OnStart");
        return HostedProbe::Get().startResult;
    }
    bool OnStop() override {
        HostedProbe::Get().Add("OnStop");
        if (HostedProbe::Get().atStop) {
            HostedProbe::Get().atStop();
        }
        return HostedProbe::Get().stopResult;
    }
};

class ProbedProxy : public marrow::ser::ServiceProxy {
public:
    explicit ProbedProxy(const char* name = "probed") : ServiceProxy(name) {
        HostedProbe::Get().Keep(this);
        HostedProbe::Get().Add("proxy made");
    }
    ~ProbedProxy() override { HostedProbe::Get().Add("proxy deleted"); }

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override {
        HostedProbe::Get().Add("OnCallAPI");
        return message;
    }
};

} // namespace
