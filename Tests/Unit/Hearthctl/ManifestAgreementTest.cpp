// SPDX-License-Identifier: Apache-2.0

// What is said about a manifest, beside what the daemon's own reader does with it.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <json/json.h>

#include "Dlog.h"
#include "FakeServices.h"
#include "LogCapture.h"
#include "ManifestCheck.h"
#include "ServiceManager.h"
#include "TemporaryFolder.h"

namespace {

using hearthctl::Declaration;
using hearthctl::Finding;
using hearthctl::ManifestCheck;
using marrow::ser::LaunchType;
using marrow::ser::service_info_t;

class ManifestAgreement : public testing::Test {
protected:
    ManifestAgreement() {
        FakeFactory::Register();
        m_manager = std::make_unique<ServiceManager>();
    }
    // Autostart jobs must not outlive the test process's statics.
    ~ManifestAgreement() override { EXPECT_TRUE(LogCapture::WaitFor(DLOG_INFO, "~Worker[Init]")); }

    // Whether it doesn't end the daemon.
    bool IsRead(const std::string& text) {
        const std::string path = m_folder.Path() / "m.json";
        std::ofstream(path) << text;
        try {
            m_manager->LoadServiceManifest(path);
            return true;
        } catch (const Json::Exception&) {
            return false;
        }
    }
    static bool Tells(const std::string& text, const std::string& what) {
        const ManifestCheck check("m.json", text);
        return std::any_of(check.Found().begin(), check.Found().end(),
                           [&what](const Finding& finding) {
                               return finding.severity == Finding::Severity::ERROR &&
                                      finding.text.find(what) != std::string::npos;
                           });
    }
    std::vector<service_info_t> Services() const { return m_manager->GetServiceList(); }

private:
    const TemporaryFolder m_folder;
    std::unique_ptr<ServiceManager> m_manager;
};

TEST_F(ManifestAgreement, IsThereOnWhatEndsTheDaemon) {
    for (const char* text :
         {R"({"a": 5})", R"({"a": "text"})", R"({"a": []})", R"([1])",
          R"({"$schema": "manifest.schema.json"})", R"({"a": {"priority": "high"}})",
          R"({"a": {"load_type": []}})", R"({"a": {"lib_path": {}}})",
          R"({"a": {"launch_type": "AUTOSTART"}})", R"({"a": {"dependencies": [{}]}})",
          R"({"a": {"dependencies": {"b": []}}})", R"({"a": {"priority": 4294967296}})",
          R"({"a": {"priority": 1e10}})", R"({"a": {"priority": -2147483649}})"}) {
        EXPECT_FALSE(IsRead(text)) << text;
        EXPECT_TRUE(Tells(text, "the daemon ends")) << text;
    }
}

TEST_F(ManifestAgreement, IsThereOnWhatIsPassedOver) {
    int count = 0;
    for (const char* text : {"", "{", R"({"a": {},})", R"({'a': {}})", "\xEF\xBB\xBF{}",
                             "{\"a\" {}}", R"({"a": {"priority": 01x}})"}) {
        EXPECT_TRUE(IsRead(text)) << text;
        EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, "configuration loading failed!"), ++count)
            << text;
        EXPECT_TRUE(Tells(text, "the manifest is passed over")) << text;
    }
    EXPECT_TRUE(Services().empty());
}

TEST_F(ManifestAgreement, IsThereOnWhatIsTaken) {
    const char* const text = R"([] {"a": {}} )";
    EXPECT_TRUE(IsRead(text));
    EXPECT_TRUE(Services().empty()) << "what follows the manifest is passed over";

    const std::string odd = R"({"b": {"lib_path": 5, "priority": 300.5, "launch_type": true,
            "dependencies": {"x": "y", "v": null}},
        "a": {"lib_path": "/first"}, "a": {"lib_path": "/l.so", "launch_type": -1,
            "dependencies": "b"},
        "c": null} // and more)";
    ASSERT_TRUE(IsRead(odd));
    const std::vector<service_info_t> taken = Services();
    const ManifestCheck check("m.json", odd);
    ASSERT_EQ(check.Declared().size(), taken.size());
    for (std::size_t i = 0; i < taken.size(); ++i) {
        const Declaration& declared = check.Declared()[i];
        EXPECT_EQ(declared.name.text, taken[i].service_name);
        EXPECT_EQ(declared.library.text, taken[i].lib_path);
        EXPECT_EQ(declared.priority, taken[i].priority);
        EXPECT_EQ(declared.startsByItself, taken[i].launch_type == LaunchType::AUTOSTART);
        std::vector<std::string> dependencies;
        for (const Declaration::Text& dependency : declared.dependencies) {
            dependencies.push_back(dependency.text);
        }
        EXPECT_EQ(dependencies, taken[i].dependencies);
    }
}

} // namespace
