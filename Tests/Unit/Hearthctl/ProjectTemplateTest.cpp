// SPDX-License-Identifier: Apache-2.0

#include "ProjectTemplate.h"

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Failure.h"
#include "TemporaryFolder.h"

namespace {

using hearthctl::ProjectTemplate;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class Template : public testing::Test {
protected:
    Template() {
        for (const char* part : {"common", "plain", "listening", "listeners"}) {
            std::filesystem::create_directory(folder.Path() / part);
        }
    }

    void Add(const std::string& file, const std::string& text) {
        std::ofstream(folder.Path() / file) << text;
    }

    TemporaryFolder folder;
    const ProjectTemplate project{folder.Path()};
};

TEST_F(Template, HasASourceForEachListener) {
    EXPECT_THAT(project.Sources(), IsEmpty());
    Add("listeners/PesListener.h", "");
    Add("listeners/KeysListener.h", "");
    Add("listeners/KeysListener.h.orig", "");
    EXPECT_THAT(project.Sources(), ElementsAre("keys", "pes"));
}

TEST_F(Template, IsFilledWithTheServicesName) {
    Add("common/CMakeLists.txt", "project(sample)\nadd(sample SampleService.cpp)\n");
    Add("plain/SampleService.cpp", "class SampleService;\n");
    EXPECT_THAT(project.Project("my_clock", {}),
                ElementsAre(Pair("CMakeLists.txt", "project(my_clock)\n"
                                                   "add(my_clock MyClockService.cpp)\n"),
                            Pair("MyClockService.cpp", "class MyClockService;\n")));
}

TEST_F(Template, IsFilledOnceWhateverTheServicesName) {
    Add("plain/SampleService.cpp", "sample Sample\n");
    EXPECT_THAT(project.Project("sample_sample", {}),
                ElementsAre(Pair("SampleSampleService.cpp", "sample_sample SampleSample\n")));
    EXPECT_THAT(project.Project("anything", {}),
                ElementsAre(Pair("AnythingService.cpp", "anything Anything\n")));
}

TEST_F(Template, RepeatsALineForEachSource) {
    Add("plain/SampleLogic.h", "plain\n");
    Add("listening/SampleLogic.h", "begin\n\nAnythingListener m_anything; // sample\nend\n");
    Add("listeners/KeysListener.h", "// sample\n");
    Add("listeners/PesListener.h", "");
    EXPECT_THAT(project.Project("a", {"keys", "pes"}),
                ElementsAre(Pair("ALogic.h", "begin\n\nKeysListener m_keys; // a\n"
                                             "PesListener m_pes; // a\nend\n"),
                            Pair("KeysListener.h", "// a\n"), Pair("PesListener.h", "")));
    EXPECT_THAT(project.Project("a", {"pes"}),
                ElementsAre(Pair("ALogic.h", "begin\n\nPesListener m_pes; // a\nend\n"),
                            Pair("PesListener.h", "")));
    EXPECT_THAT(project.Project("a", {}), ElementsAre(Pair("ALogic.h", "plain\n")));
}

TEST_F(Template, ThatCannotBeReadIsAFailure) {
    EXPECT_THROW(project.Project("a", {"nobody"}), hearthctl::Failure);
    std::filesystem::remove(folder.Path() / "listeners");
    EXPECT_THROW(project.Sources(), hearthctl::Failure);
    std::filesystem::remove(folder.Path() / "plain");
    EXPECT_THROW(project.Project("a", {}), hearthctl::Failure);
}

} // namespace
