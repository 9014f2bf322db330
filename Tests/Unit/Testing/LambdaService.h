// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <hearthd/HostedService.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>

/// What a test's own service does; on its worker.
struct Work {
    std::function<bool()> start = [] { return true; };
    std::function<bool()> stop = [] { return true; };
    std::function<Json::Value(const Json::Value&)> call = [](const Json::Value& payload) {
        return payload;
    };
    std::function<void(const std::string&)> ended = [](const std::string& /*which*/) {};
};

class LambdaService : public marrow::ser::Service {
public:
    LambdaService(const std::string& name, const Work& work) : Service(name), m_work(work) {}
    ~LambdaService() override { m_work.ended("service"); }

protected:
    bool OnStart() override { return m_work.start(); }
    bool OnStop() override { return m_work.stop(); }

private:
    const Work m_work;
};

class LambdaProxy : public marrow::ser::ServiceProxy {
public:
    LambdaProxy(const std::string& name, const Work& work) : ServiceProxy(name), m_work(work) {}
    ~LambdaProxy() override { m_work.ended("proxy"); }

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override {
        Quill::TCMessage reply;
        reply.payload = m_work.call(message.payload);
        return reply;
    }

private:
    const Work m_work;
};

/// A service that does `work`, in the kit.
struct LambdaHost {
    explicit LambdaHost(const std::string& name, const Work& work = {})
        : LambdaHost(name, std::make_unique<LambdaService>(name, work),
                     std::make_unique<LambdaProxy>(name, work)) {}

    LambdaProxy& proxy; ///< for notifications
    hearthd::testing::HostedService service;

private:
    LambdaHost(const std::string& name, std::unique_ptr<LambdaService> made,
               std::unique_ptr<LambdaProxy> madeProxy)
        : proxy(*madeProxy), service(name, std::move(made), std::move(madeProxy)) {}
};

inline Json::Value Object(const std::string& key, const Json::Value& value) {
    Json::Value object;
    object[key] = value;
    return object;
}
