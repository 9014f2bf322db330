// SPDX-License-Identifier: Apache-2.0

// The half of ServiceManager that reads the manifests.

#include <dirent.h>
#include <fstream>
#include <memory>

#include <json/json.h>

#include "Log.h"
#include "ManifestKeys.h"
#include "ServiceControl.h"
#include "ServiceManager.h"

using marrow::ser::LaunchType;
using marrow::ser::LoadType;
using marrow::ser::service_info_t;

const std::string ServiceManager::CONFIG_FILE_PATH =
    "/usr/apps/org.norvane.hearthd/etc/hearthd.conf";
const std::string ServiceManager::SERVICE_MANIFEST_DIR_PATH =
    "/usr/apps/org.norvane.hearthd/etc/manifests";
const std::string ServiceManager::SERVICE_MANIFEST_POSTFIX = marrow::mgr::MANIFEST_POSTFIX;

namespace {

// Both interfaces below are deprecated by their libraries. Json::Reader accepts what manifests in
// the field hold (its successor is stricter by default), and readdir_r ends the reading at an error
// where readdir would need errno to tell it from the end.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

// A folder opens as a file does, and fails at the first read: from within the library as an
// exception.
bool CanBeRead(std::istream& stream) {
    stream.peek();
    return !stream.bad();
}

bool Parse(std::istream& stream, Json::Value& root) {
    Json::Reader reader;
    try {
        return reader.parse(stream, root, false);
    } catch (const Json::Exception&) { // brackets inside of brackets, beyond the library's limit
        return false;
    }
}

bool ReadEntry(DIR* directory, dirent& entry) {
    dirent* found = nullptr;
    return readdir_r(directory, &entry, &found) == 0 && found != nullptr;
}

#pragma GCC diagnostic pop

// No validation: what is absent has its default, numbers are cut to their field, and a type that
// doesn't convert is the JSON library's exception.
service_info_t ToServiceInfo(const std::string& name, const Json::Value& service) {
    service_info_t info;
    info.service_name = name;
    info.lib_path = service[marrow::mgr::LIB_PATH_KEY].asString();
    info.load_type = static_cast<LoadType>(service[marrow::mgr::LOAD_TYPE_KEY].asInt());
    info.launch_type = static_cast<LaunchType>(service[marrow::mgr::LAUNCH_TYPE_KEY].asInt());
    info.priority = static_cast<std::uint8_t>(service[marrow::mgr::PRIORITY_KEY].asInt());
    for (const Json::Value& dependency : service[marrow::mgr::DEPENDENCIES_KEY]) {
        info.dependencies.push_back(dependency.asString());
    }
    return info;
}

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

} // namespace

void ServiceManager::LoadServiceManiests() {
    LOGI("loading configurations...");
    const std::unique_ptr<DIR, CloseDirectory> directory(
        opendir(SERVICE_MANIFEST_DIR_PATH.c_str()));
    if (directory == nullptr) {
        LOGE("error while opening manifest dir...");
        return;
    }
    dirent entry{};
    while (ReadEntry(directory.get(), entry)) {
        const std::string name = entry.d_name;
        if (name.find(SERVICE_MANIFEST_POSTFIX) != std::string::npos) {
            LoadServiceManifest(SERVICE_MANIFEST_DIR_PATH + "/" + name);
        }
    }
    LOGI("configurations loaded");
}

void ServiceManager::LoadServiceManifest(std::string path) {
    LOGI("loading configuration %s", path.c_str());
    Json::Value root;
    std::ifstream stream(path);
    if (!stream.fail() && CanBeRead(stream) && Parse(stream, root)) {
        stream.close();
        for (auto member = root.begin(); member != root.end(); ++member) {
            const service_info_t info = ToServiceInfo(member.name(), *member);
            m_services.push_back(new ServiceControl(info));
            m_serviceInfos.push_back(info);
        }
    } else {
        LOGE("configuration loading failed! Check file and syntax");
    }
    LOGI("configuration loaded"); // also after a failure
}
