// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "Dlog.h"
#include "FakeServices.h"
#include "LogCapture.h"
#include "ServiceManager.h"
#include "ServiceNames.h"

namespace {

using marrow::ser::LaunchType;
using marrow::ser::LoadType;
using marrow::ser::service_info_t;

constexpr const char* FAILED = "configuration loading failed! Check file and syntax";
constexpr const char* LOADED = "configuration loaded";

class Manifest : public testing::Test {
protected:
    Manifest() {
        FakeFactory::Register();
        std::filesystem::create_directories(ServiceManager::SERVICE_MANIFEST_DIR_PATH);
    }
    ~Manifest() override {
        // Autostart jobs must not outlive the test process's statics.
        EXPECT_TRUE(LogCapture::WaitFor(DLOG_INFO, "~Worker[Init]",
                                        LogCapture::Count(DLOG_INFO, "autostart done")));
        std::filesystem::remove_all("/usr/apps/org.norvane.hearthd");
    }

    static std::string Path(const std::string& file) {
        return ServiceManager::SERVICE_MANIFEST_DIR_PATH + "/" + file;
    }
    static void Write(const std::string& file, const std::string& text) {
        std::ofstream(Path(file)) << text;
    }
    // What one manifest declares.
    static std::vector<service_info_t> Read(const std::string& text) {
        Write("one.json", text);
        return ServiceManager().GetServiceList();
    }
};

TEST_F(Manifest, HasItsConstants) {
    EXPECT_EQ(ServiceManager::SERVICE_MANIFEST_DIR_PATH,
              "/usr/apps/org.norvane.hearthd/etc/manifests");
    EXPECT_EQ(ServiceManager::SERVICE_MANIFEST_POSTFIX, ".json");
    EXPECT_EQ(ServiceManager::CONFIG_FILE_PATH, "/usr/apps/org.norvane.hearthd/etc/hearthd.conf");
    EXPECT_EQ(ServiceManager::CLASS.GetName(), "ServiceManager");
}

TEST_F(Manifest, FillsARecordFromItsKeys) {
    const auto services = Read(R"({"probe":{"lib_path":"/lib/p.so","load_type":1,"launch_type":1,
        "priority":200,"dependencies":["b","a"],"unknown":"ignored"}})");
    ASSERT_EQ(services.size(), 1U);
    EXPECT_EQ(services[0].service_name, "probe");
    EXPECT_EQ(services[0].lib_path, "/lib/p.so");
    EXPECT_EQ(services[0].load_type, LoadType::EXTERNAL_PROCESS);
    EXPECT_EQ(services[0].launch_type, LaunchType::LAZY);
    EXPECT_EQ(services[0].priority, 200);
    EXPECT_EQ(services[0].dependencies, (std::vector<std::string>{"b", "a"}));
}

TEST_F(Manifest, HasADefaultForEveryKey) {
    const auto services = Read(R"({"empty":{},"path":{"lib_path":"/lib/p.so"}})");
    ASSERT_EQ(services.size(), 2U);
    EXPECT_EQ(services[0].lib_path, "");
    EXPECT_EQ(services[1].lib_path, "/lib/p.so");
    for (const service_info_t& info : services) {
        EXPECT_EQ(info.load_type, LoadType::COREAPP_PROCESS);
        EXPECT_EQ(info.launch_type, LaunchType::AUTOSTART);
        EXPECT_EQ(info.priority, 0);
        EXPECT_TRUE(info.dependencies.empty());
    }
}

TEST_F(Manifest, KeepsTheLowEightBitsOfAPriority) {
    const auto services =
        Read(R"({"a":{"priority":300},"b":{"priority":256},"c":{"priority":-1}})");
    ASSERT_EQ(services.size(), 3U);
    EXPECT_EQ(services[0].priority, 44);
    EXPECT_EQ(services[1].priority, 0);
    EXPECT_EQ(services[2].priority, 255);
}

TEST_F(Manifest, StoresTypesWithoutLookingAtTheirRange) {
    const auto services = Read(R"({"a":{"launch_type":2,"load_type":-7}})");
    ASSERT_EQ(services.size(), 1U);
    EXPECT_EQ(static_cast<int>(services[0].launch_type), 2);
    EXPECT_EQ(static_cast<int>(services[0].load_type), -7);
    bool printed = false;
    for (const LogCapture::Line& line : LogCapture::Lines()) {
        printed = printed ||
                  line.text.find("load_type: UNKNOWN\nlaunch_type: UNKNOWN") != std::string::npos;
    }
    EXPECT_TRUE(printed);
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, "~Worker[Init]"));
    EXPECT_TRUE(FakeFactory::Get().calls.empty()) << "it doesn't start by itself";
}

TEST_F(Manifest, ReadsServicesOfOneFileInTheOrderOfTheirNames) {
    EXPECT_EQ(Names(Read(R"({"b":{},"c":{},"a":{}})")), (std::vector<std::string>{"a", "b", "c"}));
}

TEST_F(Manifest, MayDeclareNothing) {
    EXPECT_TRUE(Read("{}").empty());
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, LOADED), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, FAILED), 0);
}

TEST_F(Manifest, MayHoldComments) {
    EXPECT_EQ(Names(Read("// who\n{\"a\":{} /* what */}")), (std::vector<std::string>{"a"}));
}

TEST_F(Manifest, ThatDoesntParseDeclaresNothingAndIsLoggedTwice) {
    EXPECT_TRUE(Read(R"({"a":{},"b":)").empty());
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "loading configuration " + Path("one.json")), 1);
    std::vector<std::string> outcome;
    for (const LogCapture::Line& line : LogCapture::Lines()) {
        if (line.text == FAILED || line.text == LOADED) {
            EXPECT_EQ(line.priority, line.text == FAILED ? DLOG_ERROR : DLOG_INFO);
            outcome.push_back(line.text);
        }
    }
    EXPECT_EQ(outcome, (std::vector<std::string>{FAILED, LOADED})) << "also after the failure";
}

TEST_F(Manifest, ThatIsNestedDeeperThanTheJsonLibraryReadsIsSkipped) {
    Write("deep.json", std::string(5000, '['));
    Write("other.json", R"({"other":{}})");
    EXPECT_EQ(Names(ServiceManager().GetServiceList()), (std::vector<std::string>{"other"}));
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, FAILED), 1);
}

TEST_F(Manifest, ThatCannotBeOpenedDeclaresNothingAndIsLoggedTwice) {
    std::filesystem::create_symlink("/nowhere", Path("dangling.json"));
    Write("other.json", R"({"other":{}})");
    EXPECT_EQ(Names(ServiceManager().GetServiceList()), (std::vector<std::string>{"other"}));
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, FAILED), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, LOADED), 2);
}

TEST_F(Manifest, IsAnyFileWithThePostfixAnywhereInItsName) {
    Write("a.json", R"({"a":{}})");
    Write("b.json.orig", R"({"b":{}})");
    Write(".json", R"({"hidden":{}})");
    Write("c.txt", R"({"c":{}})");
    Write("d.JSON", R"({"d":{}})");
    auto names = Names(ServiceManager().GetServiceList());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"a", "b", "hidden"}));
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_INFO, "loading configuration /"), 3);
}

TEST_F(Manifest, MayBeMissingAltogether) {
    EXPECT_TRUE(ServiceManager().GetServiceList().empty());
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "loading configurations..."), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "configurations loaded"), 1);
    for (const LogCapture::Line& line : LogCapture::Lines()) {
        EXPECT_NE(line.priority, DLOG_ERROR) << line.text;
    }
}

TEST_F(Manifest, FolderMayBeMissingToo) {
    std::filesystem::remove_all("/usr/apps/org.norvane.hearthd");
    EXPECT_TRUE(ServiceManager().GetServiceList().empty());
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, "error while opening manifest dir..."), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "configurations loaded"), 0);
}

TEST_F(Manifest, RaisesTheLibrarysExceptionForAValueThatDoesntConvert) {
    for (const char* text :
         {R"({"a":{"priority":"high"}})", R"({"a":{"load_type":[]}})", R"({"a":{"lib_path":{}}})",
          R"({"a":{"launch_type":"AUTOSTART"}})", R"({"a":{"dependencies":[{}]}})", R"({"a":5})",
          R"({"a":"text"})", R"({"a":{"priority":4294967296}})"}) {
        Write("one.json", text);
        EXPECT_THROW(ServiceManager(), Json::Exception) << text;
    }
}

TEST_F(Manifest, IsSkippedWhereAFolderBearsItsName) {
    std::filesystem::create_directory(Path("folder.json"));
    Write("other.json", R"({"other":{}})");
    EXPECT_EQ(Names(ServiceManager().GetServiceList()), (std::vector<std::string>{"other"}));
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, FAILED), 1);
}

TEST_F(Manifest, MayDeclareANameTwice) {
    Write("one.json", R"({"a":{"priority":1}})");
    Write("two.json", R"({"a":{"priority":2}})");
    EXPECT_EQ(Names(ServiceManager().GetServiceList()), (std::vector<std::string>{"a", "a"}));
}

} // namespace
