// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <list>

#include "Dlog.h"
#include "FakeServices.h"
#include "Gate.h"
#include "LogCapture.h"
#include "PerformanceMonitor.h"
#include "ServiceControl.h"
#include "ServiceManager.h"
#include "ServiceNames.h"

namespace {

using marrow::mgr::IServiceControl;
using State = IServiceControl::ServiceState;

struct Records : RecordHandler {
    std::vector<std::string> tags;
    std::vector<record_t> all;
    void handle(record_t record) override {
        tags.push_back(record.tag);
        all.push_back(record);
    }
};

// Handlers are never removed from the monitor, so that these live as long as the process.
Records& NewRecords() {
    static auto* const records = new std::list<Records>;
    return records->emplace_back();
}

class ServiceManagerTest : public testing::Test {
protected:
    ServiceManagerTest() {
        std::filesystem::create_directories(ServiceManager::SERVICE_MANIFEST_DIR_PATH);
        PerformanceMonitor::Get().AddRecordHandler(&records);
    }
    ~ServiceManagerTest() override {
        // Autostart jobs must not outlive the test process's statics.
        EXPECT_TRUE(LogCapture::WaitFor(DLOG_INFO, "~Worker[Init]",
                                        LogCapture::Count(DLOG_INFO, "autostart done")));
        std::filesystem::remove_all("/usr/apps/org.norvane.hearthd");
    }

    static void Declare(const std::string& name, int priority, const std::string& more = "") {
        std::ofstream(ServiceManager::SERVICE_MANIFEST_DIR_PATH + "/" + name + ".json")
            << R"({")" << name << R"(":{"priority":)" << priority << more << "}}";
    }

    // The worker ends behind the job.
    static void WaitForAutostart(int count = 1) {
        ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, "~Worker[Init]", count));
    }

    std::vector<std::string> Created() {
        std::vector<std::string> names;
        for (const std::string& call : factory.calls) {
            if (call.starts_with("create ")) {
                names.push_back(call.substr(7));
            }
        }
        return names;
    }

    static int CountLinesWith(const std::string& text) {
        int count = 0;
        for (const LogCapture::Line& line : LogCapture::Lines()) {
            count += line.text.find(text) == std::string::npos ? 0 : 1;
        }
        return count;
    }

    FakeFactory& factory = FakeFactory::Register();
    Records& records = NewRecords();
};

TEST_F(ServiceManagerTest, StartsByPriorityAloneTheHighestFirst) {
    Declare("a", 10);
    Declare("b", 200);
    Declare("c", 30);
    Declare("d", 255);
    Declare("e", 0);
    Declare("f", 300); // which is 44 in eight bits
    ServiceManager manager;
    WaitForAutostart();
    EXPECT_EQ(Created(), (std::vector<std::string>{"d", "b", "f", "c", "a", "e"}));
}

TEST_F(ServiceManagerTest, DoesntLookAtDependencies) {
    Declare("a", 10, R"(,"dependencies":["b","nobody"])");
    Declare("b", 5, R"(,"dependencies":["a"])");
    ServiceManager manager;
    WaitForAutostart();
    EXPECT_EQ(Created(), (std::vector<std::string>{"a", "b"}));
    for (const LogCapture::Line& line : LogCapture::Lines()) {
        EXPECT_EQ(line.text.find("nobody"), std::string::npos) << line.text;
        EXPECT_LT(line.priority, DLOG_WARN) << line.text;
    }
    EXPECT_EQ(manager.GetServiceByName("a")->GetDependencies(),
              (std::vector<std::string>{"b", "nobody"}));
}

TEST_F(ServiceManagerTest, KeepsEqualsOfASmallNumberInReadingOrder) {
    std::ofstream(ServiceManager::SERVICE_MANIFEST_DIR_PATH + "/all.json")
        << R"({"a":{},"b":{},"c":{"priority":1},"d":{},"e":{"priority":1}})";
    ServiceManager manager;
    WaitForAutostart();
    EXPECT_EQ(Created(), (std::vector<std::string>{"c", "e", "a", "b", "d"}));
}

TEST_F(ServiceManagerTest, KeepsEqualsOfSeveralFilesInReadingOrder) {
    for (const char* name : {"e", "b", "g", "a", "f", "c", "h", "d"}) {
        Declare(name, 5);
    }
    ServiceManager manager;
    WaitForAutostart();
    EXPECT_EQ(Created(), Names(manager.GetServiceList()));
}

TEST_F(ServiceManagerTest, PassesOverALazyServiceWithoutAWord) {
    Declare("lazy", 10, R"(,"launch_type":1)");
    Declare("odd", 10, R"(,"launch_type":2)");
    Declare("auto", 1);
    ServiceManager manager;
    WaitForAutostart();
    for (const char* name : {"lazy", "odd"}) {
        EXPECT_EQ(CountLinesWith(name), 2) << "the file, and the new control";
    }
    EXPECT_EQ(Created(), (std::vector<std::string>{"auto"}));
    EXPECT_EQ(manager.GetServiceByName("lazy")->GetState(), State::NOT_LOADED);
    EXPECT_EQ(manager.GetServiceByName("auto")->GetState(), State::STARTED);
}

TEST_F(ServiceManagerTest, GoesOnBehindAServiceThatDoesntLoad) {
    Declare("bad", 10);
    Declare("good", 1);
    factory.refused["bad"] = true;
    ServiceManager manager;
    WaitForAutostart();
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, "service['bad'] failed to load"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, "failed to load bad service"), 1);
    EXPECT_EQ(manager.GetServiceByName("good")->GetState(), State::STARTED);
    EXPECT_EQ(records.tags, (std::vector<std::string>{"good_LOAD", "good_START"}))
        << "a stage that failed isn't recorded";
}

TEST_F(ServiceManagerTest, GoesOnBehindAServiceThatDoesntStartAndLeavesItLoaded) {
    Declare("bad", 10);
    Declare("good", 1);
    int starts = 0;
    factory.service.onStart = [&] { return ++starts != 1; };
    ServiceManager manager;
    WaitForAutostart();
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, "service['bad'] failed to start"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, "failed to start bad service"), 1);
    EXPECT_EQ(manager.GetServiceByName("bad")->GetState(), State::LOADED);
    EXPECT_EQ(manager.GetServiceByName("good")->GetState(), State::STARTED);
    EXPECT_EQ(records.tags, (std::vector<std::string>{"bad_LOAD", "good_LOAD", "good_START"}));
}

TEST_F(ServiceManagerTest, DoesntWaitForItsServices) {
    Declare("slow", 1);
    Gate goOn;
    factory.service.onStart = [&] { return goOn.Wait(); };
    ServiceManager manager; // returns while the service is starting
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "autostart done"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "started slow"), 0);
    goOn.Open();
    WaitForAutostart();
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "started slow"), 1);
}

TEST_F(ServiceManagerTest, LogsItsSteps) {
    ServiceManager manager;
    WaitForAutostart();
    std::vector<std::string> steps;
    for (const LogCapture::Line& line : LogCapture::Lines()) {
        if (line.text == "init" || line.text.starts_with("loading conf") ||
            line.text.starts_with("configurations") || line.text.starts_with("sorting") ||
            line.text.starts_with("autostart")) {
            EXPECT_EQ(line.priority, DLOG_INFO) << line.text;
            steps.push_back(line.text);
        } else if (line.text.find("[Init] adds to queue") != std::string::npos) {
            steps.emplace_back("job");
        }
    }
    // The worker's own first job, and the manager's.
    EXPECT_EQ(steps, (std::vector<std::string>{"init", "loading configurations...",
                                               "configurations loaded", "sorting services",
                                               "autostarting services...", "job", "job",
                                               "autostart done"}));
}

TEST_F(ServiceManagerTest, NeedsNoManagerAnyMoreOnceItsJobIsQueued) {
    Declare("a", 1);
    { ServiceManager brief; }
    WaitForAutostart();
    EXPECT_EQ(Created(), (std::vector<std::string>{"a"}));
}

TEST_F(ServiceManagerTest, FindsTheFirstInSortedOrderOfServicesOfOneName) {
    std::ofstream(ServiceManager::SERVICE_MANIFEST_DIR_PATH + "/1.json")
        << R"({"a":{"priority":1,"launch_type":1}})";
    std::ofstream(ServiceManager::SERVICE_MANIFEST_DIR_PATH + "/2.json")
        << R"({"a":{"priority":2,"launch_type":1}})";
    ServiceManager manager;
    ASSERT_NE(manager.GetServiceByName("a"), nullptr);
    EXPECT_EQ(manager.GetServiceByName("a")->GetPriority(), 2);
    EXPECT_EQ(manager.GetServiceByName("nobody"), nullptr);
    EXPECT_EQ(manager.GetServiceByName(""), nullptr);
    WaitForAutostart();
}

TEST_F(ServiceManagerTest, FindsAServiceOrNoneWithoutAWord) {
    Declare("a", 1);
    ServiceManager manager;
    WaitForAutostart();
    LogCapture::Clear();
    EXPECT_NE(manager.GetServiceByName("a"), nullptr);
    EXPECT_EQ(manager.GetServiceByName("nobody"), nullptr);
    EXPECT_TRUE(LogCapture::Lines().empty());
}

TEST_F(ServiceManagerTest, ListsServicesInReadingOrderWhateverTheirPriority) {
    std::ofstream(ServiceManager::SERVICE_MANIFEST_DIR_PATH + "/all.json")
        << R"({"a":{"priority":1},"b":{"priority":9}})";
    ServiceManager manager;
    WaitForAutostart();
    EXPECT_EQ(Names(manager.GetServiceList()), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(Created(), (std::vector<std::string>{"b", "a"}));
}

TEST_F(ServiceManagerTest, StartServiceTimesBothStagesAndSaysThatItHasStarted) {
    ServiceControl control({.service_name = "a", .lib_path = "", .dependencies = {}});
    ServiceManager::StartService(&control);
    EXPECT_EQ(control.GetState(), State::STARTED);
    EXPECT_EQ(records.tags, (std::vector<std::string>{"a_LOAD", "a_START"}));
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "started a"), 1);
}

TEST_F(ServiceManagerTest, StartServiceTimesTheLoadAndTheStartEachAsAWhole) {
    record_t::time_point inLoad;
    record_t::time_point inStart;
    factory.onCreate = [&] { inLoad = std::chrono::steady_clock::now(); };
    factory.service.onStart = [&] {
        inStart = std::chrono::steady_clock::now();
        return true;
    };
    ServiceControl control({.service_name = "a", .lib_path = "", .dependencies = {}});
    ServiceManager::StartService(&control);
    ASSERT_EQ(records.all.size(), 2U);
    EXPECT_LE(records.all[0].start, inLoad);
    EXPECT_GE(records.all[0].stop, inLoad);
    EXPECT_GE(records.all[1].start, records.all[0].stop);
    EXPECT_LE(records.all[1].start, inStart);
    EXPECT_GE(records.all[1].stop, inStart);
}

TEST_F(ServiceManagerTest, StartServiceLeavesAStartedServiceAlone) {
    ServiceControl control({.service_name = "a", .lib_path = "", .dependencies = {}});
    control.Load();
    control.Start();
    ServiceManager::StartService(&control);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "a already started"), 1);
    EXPECT_EQ(factory.calls.size(), 2U);
}

TEST_F(ServiceManagerTest, StartServiceFailsForAServiceThatIsLoadedAlready) {
    ServiceControl control({.service_name = "a", .lib_path = "", .dependencies = {}});
    control.Load();
    ServiceManager::StartService(&control);
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR,
                                "service['a'] invalid state load operation could not be executed"),
              1);
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, "failed to load a service"), 1);
    EXPECT_EQ(control.GetState(), State::LOADED);
    EXPECT_TRUE(records.tags.empty());
}

TEST_F(ServiceManagerTest, StartAutostartServiceStartsThoseAlone) {
    ServiceControl automatic({.service_name = "a", .lib_path = "", .dependencies = {}});
    ServiceControl lazy({.service_name = "b",
                         .lib_path = "",
                         .launch_type = marrow::ser::LaunchType::LAZY,
                         .dependencies = {}});
    ServiceManager::StartAutostartService(&automatic);
    LogCapture::Clear();
    ServiceManager::StartAutostartService(&lazy);
    EXPECT_TRUE(LogCapture::Lines().empty());
    EXPECT_EQ(automatic.GetState(), State::STARTED);
    EXPECT_EQ(lazy.GetState(), State::NOT_LOADED);
}

} // namespace
