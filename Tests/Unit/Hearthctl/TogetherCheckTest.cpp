// SPDX-License-Identifier: Apache-2.0

#include "TogetherCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using hearthctl::Declaration;
using hearthctl::Finding;
using hearthctl::TogetherCheck;
using testing::ElementsAre;
using testing::IsEmpty;

using Lines = std::vector<std::string>;

// Declares services, each in a file of its own name with a dependency in each line from 2 on.
class Together : public testing::Test {
protected:
    Declaration& Add(const std::string& name, int priority, const Lines& dependencies = {}) {
        Declaration service;
        service.name = {name, {name + ".json", 1, 2}};
        service.library = {"/lib" + name + ".so", {name + ".json", 1, 9}};
        service.priority = static_cast<std::uint8_t>(priority);
        for (const std::string& dependency : dependencies) {
            const int line = 2 + static_cast<int>(service.dependencies.size());
            service.dependencies.push_back({dependency, {name + ".json", line, 3}});
        }
        m_services.push_back(service);
        return m_services.back();
    }

    Lines Found() const {
        Lines lines;
        const TogetherCheck check(m_services);
        for (const Finding& finding : check.Found()) {
            lines.push_back(
                finding.place.path + ':' + std::to_string(finding.place.line) +
                (finding.severity == Finding::Severity::ERROR ? ": error: " : ": warning: ") +
                finding.text);
        }
        return lines;
    }

private:
    std::vector<Declaration> m_services;
};

TEST_F(Together, AreGoodWhereThePrioritiesHonourTheDependencies) {
    Add("a", 1, {"b", "c"});
    Add("b", 2, {"c"});
    Add("c", 255);
    EXPECT_THAT(Found(), IsEmpty());
}

TEST_F(Together, MayNotDeclareANameTwice) {
    Add("a", 1);
    Add("a", 2).name.place.path = "other.json";
    EXPECT_THAT(Found(), ElementsAre("other.json:1: error: the service \"a\" is declared in "
                                     "a.json:1 too: only one of the two libraries is loaded"));
}

TEST_F(Together, ShouldntShareALibrary) {
    Add("a", 1);
    Add("b", 2).library.text = "/liba.so";
    EXPECT_THAT(Found(), ElementsAre("b.json:1: warning: the library is that of \"a\" in a.json:1 "
                                     "too: both services get the same objects"));
}

TEST_F(Together, MayAllLackALibrary) {
    Add("a", 1).library.text.clear();
    Add("b", 2).library.text.clear();
    EXPECT_THAT(Found(), IsEmpty()) << "each manifest's own check tells that";
}

TEST_F(Together, ShouldDeclareWhatIsDependedOn) {
    Add("a", 1, {"a2"});
    EXPECT_THAT(Found(), ElementsAre("a.json:2: warning: none of these manifests declares \"a2\", "
                                     "which \"a\" depends on"));
}

TEST_F(Together, TellOfADependencyThatIsStartedLater) {
    Add("a", 10, {"b", "c"});
    Add("b", 5);
    Add("c", 10);
    EXPECT_THAT(Found(),
                ElementsAre("a.json:2: warning: \"b\", which \"a\" depends on, is started later "
                            "(priority 5, and 10 here)",
                            "a.json:3: warning: \"c\", which \"a\" depends on, may be started "
                            "later (priority 10, and 10 here)"));
}

TEST_F(Together, TellOfADependencyThatIsStartedByHand) {
    Add("a", 10, {"b"});
    Add("b", 20).startsByItself = false;
    EXPECT_THAT(Found(), ElementsAre("a.json:2: warning: \"b\", which \"a\" depends on, isn't "
                                     "started by itself"));
}

TEST_F(Together, LeaveTheOrderToWhoStartsByHand) {
    Add("a", 10, {"b", "c"}).startsByItself = false;
    Add("b", 5);
    Add("c", 5).startsByItself = false;
    EXPECT_THAT(Found(), IsEmpty());
}

TEST_F(Together, TellOfACycleOnceAsAChain) {
    Add("a", 1, {"b"});
    Add("b", 2, {"c"});
    Add("c", 3, {"a", "d"});
    Add("d", 4);
    EXPECT_THAT(Found(), ElementsAre("a.json:2: warning: services depend on each other: "
                                     "a -> b -> c -> a"));
}

TEST_F(Together, TellOfEachOfTwoCyclesThatMeet) {
    Add("a", 1, {"a", "b"});
    Add("b", 2, {"a"});
    EXPECT_THAT(Found(),
                ElementsAre("a.json:2: warning: services depend on each other: a -> a",
                            "a.json:3: warning: services depend on each other: a -> b -> a"));
}

} // namespace
