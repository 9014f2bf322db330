// SPDX-License-Identifier: Apache-2.0

// A libFuzzer target: any bytes as a manifest. What the manager makes of them is compared with the
// JSON document itself: a value that doesn't convert, and nothing else, raises Json::Exception,
// which ends the daemon.

#include <algorithm>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include <json/json.h>

#include "Dlog.h"
#include "FakeServices.h"
#include "Fuzz.h"
#include "FuzzCheck.h"
#include "LogCapture.h"
#include "PrivateMember.h"
#include "ServiceManager.h"
#include "TemporaryFolder.h"

using marrow::ser::LaunchType;
using marrow::ser::LoadType;
using marrow::ser::service_info_t;
using Controls = std::vector<marrow::mgr::IServiceControl*>;
using Infos = std::vector<service_info_t>;

namespace manifest_fuzz {

struct Services : PrivateMember<Services, Controls ServiceManager::*> {};
struct ServiceInfos : PrivateMember<ServiceInfos, Infos ServiceManager::*> {};

} // namespace manifest_fuzz
template struct ExposeMember<manifest_fuzz::Services, &ServiceManager::m_services>;
template struct ExposeMember<manifest_fuzz::ServiceInfos, &ServiceManager::m_serviceInfos>;

namespace {

// The one of the process. Whatever this machine declares is loaded by the fakes.
ServiceManager& Manager() {
    static ServiceManager* const manager = [] {
        FakeFactory::Register();
        return new ServiceManager;
    }();
    return *manager;
}

// Controls live as long as the daemon, which reads its manifests once.
void Forget(ServiceManager& manager) {
    Controls& controls = manager.*MemberOf(manifest_fuzz::Services());
    for (const marrow::mgr::IServiceControl* control : controls) {
        delete control;
    }
    controls.clear();
    (manager.*MemberOf(manifest_fuzz::ServiceInfos())).clear();
}

// What a document declares, as far as it converts.
struct Declared {
    bool isTaken = false;    ///< the file is JSON
    bool isConverted = true; ///< and has no value of a type that ends the daemon
    Infos infos;
};

bool IsText(const Json::Value& value) {
    return !value.isArray() && !value.isObject();
}

bool IsInteger(const Json::Value& value) {
    return value.isNull() || value.isBool() ||
           (value.isNumeric() && value.asDouble() >= std::numeric_limits<int>::min() &&
            value.asDouble() <= std::numeric_limits<int>::max());
}

int IntegerOf(const Json::Value& value) {
    return value.isNull() ? 0
                          : static_cast<int>(value.isBool() ? value.asBool() : value.asDouble());
}

bool Convert(const Json::Value& service, service_info_t& info) {
    if (!service.isNull() && !service.isObject()) {
        return false;
    }
    const auto value = [&](const char* key) { return service.get(key, Json::Value()); };
    const Json::Value dependencies = value("dependencies");
    bool converts = IsText(value("lib_path")) && IsInteger(value("load_type")) &&
                    IsInteger(value("launch_type")) && IsInteger(value("priority"));
    for (const Json::Value& dependency : dependencies) {
        converts = converts && IsText(dependency);
    }
    if (!converts) {
        return false;
    }
    info.lib_path = value("lib_path").asString();
    info.load_type = static_cast<LoadType>(IntegerOf(value("load_type")));
    info.launch_type = static_cast<LaunchType>(IntegerOf(value("launch_type")));
    info.priority = static_cast<std::uint8_t>(IntegerOf(value("priority")) & 0xFF);
    for (const Json::Value& dependency : dependencies) {
        info.dependencies.push_back(dependency.asString());
    }
    return true;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations" // the reader that manifests are read by
// A document that is nested too deeply is one that the library doesn't parse.
bool Parse(const std::string& text, Json::Value& root) {
    try {
        Json::Reader reader;
        return reader.parse(text, root, false);
    } catch (const Json::Exception&) {
        return false;
    }
}
#pragma GCC diagnostic pop

Declared Expected(const std::string& text) {
    Declared declared;
    Json::Value root;
    declared.isTaken = Parse(text, root);
    // An array declares services without a name.
    for (auto member = root.begin(); declared.isTaken && member != root.end(); ++member) {
        service_info_t info;
        info.service_name = member.name();
        if (!Convert(*member, info)) {
            declared.isConverted = false;
            break;
        }
        declared.infos.push_back(info);
    }
    return declared;
}

bool IsSame(const service_info_t& a, const service_info_t& b) {
    return a.service_name == b.service_name && a.lib_path == b.lib_path &&
           a.priority == b.priority && a.load_type == b.load_type &&
           a.launch_type == b.launch_type && a.dependencies == b.dependencies;
}

void Compare(ServiceManager& manager, const Infos& expected) {
    const Infos infos = manager.GetServiceList();
    Require(std::equal(infos.begin(), infos.end(), expected.begin(), expected.end(), IsSame),
            "what is declared is what the document says");
    for (const service_info_t& info : expected) {
        marrow::mgr::IServiceControl* const control = manager.GetServiceByName(info.service_name);
        Require(control != nullptr && control->GetName() == info.service_name,
                "each service has its control: " + info.service_name);
    }
}

} // namespace

int FuzzManifest(std::span<const std::uint8_t> input) {
    static const TemporaryFolder folder;
    const std::string path = folder.Path() / "fuzz.json";
    const std::string text(input.begin(), input.end());
    std::ofstream(path, std::ios::binary) << text;
    const Declared expected = Expected(text);
    ServiceManager& manager = Manager();
    Forget(manager);
    LogCapture::Clear();
    bool isConverted = true;
    try {
        manager.LoadServiceManifest(path);
    } catch (const Json::Exception& exception) {
        isConverted = false;
        Require(!expected.isConverted,
                std::string("only a type ends the daemon: ") + exception.what());
    }
    Require(isConverted == expected.isConverted, "a type that doesn't convert ends the daemon");
    Compare(manager, expected.infos);
    Require(LogCapture::CountBeginning(DLOG_ERROR, "configuration loading failed!") ==
                (expected.isTaken ? 0 : 1),
            "what can't be parsed is told");
    Require(LogCapture::Count(DLOG_INFO, "configuration loaded") == (isConverted ? 1 : 0),
            "the end is told");
    return 0;
}
