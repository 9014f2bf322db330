// SPDX-License-Identifier: Apache-2.0

#include "ManifestCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using hearthctl::Declaration;
using hearthctl::Finding;
using hearthctl::ManifestCheck;
using testing::ElementsAre;
using testing::IsEmpty;

using Lines = std::vector<std::string>;

// "LINE:COLUMN: error|warning: TEXT"
Lines Found(const std::string& text) {
    Lines lines;
    const ManifestCheck check("m.json", text);
    for (const Finding& finding : check.Found()) {
        EXPECT_EQ(finding.place.path, "m.json");
        lines.push_back(
            std::to_string(finding.place.line) + ':' + std::to_string(finding.place.column) +
            (finding.severity == Finding::Severity::ERROR ? ": error: " : ": warning: ") +
            finding.text);
    }
    return lines;
}

// Of a service that has a library, with `members` in line 2 from column 1 on.
Lines FoundIn(const std::string& members) {
    return Found("{\"a\": {\"lib_path\": \"/l.so\",\n" + members + "}}");
}

std::vector<Declaration> Declared(const std::string& text) {
    return ManifestCheck("m.json", text).Declared();
}

TEST(ManifestCheck, FindsNothingInAManifestThatSaysWhatTheDaemonDoes) {
    EXPECT_THAT(Found("{}"), IsEmpty());
    EXPECT_THAT(Found(R"({"a": {"lib_path": "/l.so"}})"), IsEmpty());
    EXPECT_THAT(Found(R"(// who
        {"a": {"lib_path": "/l.so", "load_type": 0, "launch_type": 1, "priority": 255,
               "dependencies": ["b", "c"]}, /* what */
         "b": {"lib_path": "/m.so", "priority": 0, "dependencies": []}} // why
    )"),
                IsEmpty());
}

TEST(ManifestCheck, DeclaresWhatTheDaemonWouldTake) {
    const auto services = Declared("{\"b\": {\"lib_path\": \"/l.so\", \"launch_type\": 1},\n"
                                   " \"a\": {\"priority\": 300, \"dependencies\":\n"
                                   "   [\"b\", \"c\"]}}");
    ASSERT_EQ(services.size(), 2U);
    EXPECT_EQ(services[0].name.text, "a");
    EXPECT_EQ(services[0].name.place.line, 2);
    EXPECT_EQ(services[0].name.place.column, 2);
    EXPECT_EQ(services[0].library.text, "");
    EXPECT_EQ(services[0].priority, 44);
    EXPECT_TRUE(services[0].startsByItself);
    ASSERT_EQ(services[0].dependencies.size(), 2U);
    EXPECT_EQ(services[0].dependencies[1].text, "c");
    EXPECT_EQ(services[0].dependencies[1].place.line, 3);
    EXPECT_EQ(services[0].dependencies[1].place.column, 10);
    EXPECT_EQ(services[1].library.text, "/l.so");
    EXPECT_EQ(services[1].library.place.column, 20);
    EXPECT_FALSE(services[1].startsByItself);
}

TEST(ManifestCheck, TellsWhereTheSyntaxEnds) {
    EXPECT_THAT(Found("{\n  \"a\": {},\n  \"b\": }"),
                ElementsAre("3:8: error: the manifest is passed over: Syntax error: value, object "
                            "or array expected."));
    EXPECT_THAT(Found("{\"ä\": {} x"), ElementsAre("1:10: error: the manifest is passed over: "
                                                   "Missing ',' or '}' in object declaration"))
        << "columns are characters";
    EXPECT_EQ(Found("").size(), 1U);
    EXPECT_THAT(Found(std::string(5000, '[')),
                ElementsAre("1:1: error: the manifest is passed over: it is nested too deep"));
}

TEST(ManifestCheck, TellsOfTextBehindTheManifest) {
    EXPECT_THAT(Found("{} // fine\n /* too */ {}"),
                ElementsAre("2:12: warning: what follows the manifest is passed over"));
}

TEST(ManifestCheck, TellsOfServicesWithoutNames) {
    EXPECT_THAT(Found("[{\"lib_path\": \"/l.so\"}]"),
                ElementsAre("1:1: warning: the manifest is an array and no object: it gives no "
                            "service a name"));
    EXPECT_THAT(Found("5"), ElementsAre("1:1: warning: the manifest is a number and no object: it "
                                        "gives no service a name"));
    EXPECT_THAT(Found("{\"\": {\"lib_path\": \"/l.so\"}}"),
                ElementsAre("1:2: warning: the service has an empty name"));
}

TEST(ManifestCheck, TellsThatTheDaemonEndsAtAServiceThatIsNoObject) {
    EXPECT_THAT(Found("{\"$schema\": \"manifest.schema.json\"}"),
                ElementsAre("1:13: error: the service \"$schema\" is a string and no object: the "
                            "daemon ends"));
    EXPECT_THAT(Found("{\"a\": []}"), ElementsAre("1:7: error: the service \"a\" is an array and "
                                                  "no object: the daemon ends"));
}

TEST(ManifestCheck, TellsOfAServiceWithoutALibrary) {
    const std::string text = " error: the service \"a\" has no \"lib_path\": it is never loaded";
    EXPECT_THAT(Found("{\n  \"a\": {}}"), ElementsAre("2:3:" + text));
    EXPECT_THAT(Found("{\"a\": null}"), ElementsAre("1:2:" + text)) << "the daemon takes that too";
    EXPECT_THAT(Found("{\"a\": {\"lib_path\": \"\"}}"), ElementsAre("1:20:" + text));
    EXPECT_THAT(Found("{\"a\": {\"lib_path\": \"liba.so\"}}"),
                ElementsAre("1:20: warning: \"liba.so\" is no absolute path: where the daemon "
                            "looks for it depends on how it was started"));
}

TEST(ManifestCheck, TellsThatTheDaemonEndsAtTypesThatDontConvert) {
    EXPECT_THAT(
        FoundIn(R"("priority": "high")"),
        ElementsAre("2:13: error: \"priority\" is a string and no number: the daemon ends"));
    EXPECT_THAT(
        FoundIn(R"("launch_type": "LAZY")"),
        ElementsAre("2:16: error: \"launch_type\" is a string and no number: the daemon ends"));
    EXPECT_THAT(
        FoundIn(R"("load_type": {})"),
        ElementsAre("2:14: error: \"load_type\" is an object and no number: the daemon ends"));
    EXPECT_THAT(FoundIn(R"("priority": 4294967296)"),
                ElementsAre("2:13: error: \"priority\" is 4294967296, beyond what an int holds: "
                            "the daemon ends"));
    EXPECT_THAT(Found(R"({"a": {"lib_path": []}})"),
                ElementsAre("1:20: error: \"lib_path\" is an array and no string: the daemon "
                            "ends"));
    EXPECT_THAT(
        FoundIn(R"("dependencies": ["b", {}])"),
        ElementsAre("2:23: error: a dependency is an object and no string: the daemon ends"));
}

TEST(ManifestCheck, TellsWhatOtherTypesCountAs) {
    EXPECT_THAT(FoundIn(R"("priority": 10.75)"),
                ElementsAre("2:13: warning: \"priority\" is 10.75 and no whole number: it counts "
                            "as 10"));
    EXPECT_THAT(FoundIn(R"("launch_type": true)"),
                ElementsAre("2:16: warning: \"launch_type\" is a boolean and no whole number: it "
                            "counts as 1"));
    EXPECT_THAT(FoundIn(R"("load_type": null)"),
                ElementsAre("2:14: warning: \"load_type\" is null and no whole number: it counts "
                            "as 0"));
    EXPECT_THAT(FoundIn(R"("dependencies": [5])"),
                ElementsAre("2:18: warning: a dependency is a number and no string: it counts as "
                            "\"5\""));
    EXPECT_THAT(FoundIn(R"("dependencies": "b")"),
                ElementsAre("2:17: warning: \"dependencies\" is a string and no array: there are "
                            "none"));
    EXPECT_THAT(FoundIn(R"("dependencies": {"b": "c"})"),
                ElementsAre("2:17: warning: \"dependencies\" is an object and no array: its values "
                            "count"));
}

TEST(ManifestCheck, TellsOfNumbersBeyondTheirRange) {
    EXPECT_THAT(FoundIn(R"("priority": 300)"),
                ElementsAre("2:13: warning: \"priority\" is 300, and goes from 0 to 255: it counts "
                            "as 44"));
    EXPECT_THAT(FoundIn(R"("priority": -1)"),
                ElementsAre("2:13: warning: \"priority\" is -1, and goes from 0 to 255: it counts "
                            "as 255"));
    EXPECT_THAT(FoundIn(R"("load_type": 1)"),
                ElementsAre("2:14: error: \"load_type\" is 1, and only 0 can be loaded: the "
                            "service never is"));
    EXPECT_THAT(FoundIn(R"("launch_type": 2)"),
                ElementsAre("2:16: warning: \"launch_type\" is 2, and neither 0 nor 1: the service "
                            "isn't started by itself"));
}

TEST(ManifestCheck, KnowsWhichKeyWasMeant) {
    EXPECT_THAT(FoundIn(R"("prio": 1)"),
                ElementsAre("2:1: warning: the daemon knows no key \"prio\"; is \"priority\" "
                            "meant?"));
    EXPECT_THAT(FoundIn(R"("Launch-Type": 1)"),
                ElementsAre("2:1: warning: the daemon knows no key \"Launch-Type\"; is "
                            "\"launch_type\" meant?"));
    EXPECT_THAT(FoundIn(R"("description": "d")"),
                ElementsAre("2:1: warning: the daemon knows no key \"description\""));
}

TEST(ManifestCheck, TellsOfKeysThatStandThereTwice) {
    EXPECT_THAT(FoundIn("\"priority\": 1,\n\"priority\": 2"),
                ElementsAre("2:1: warning: \"priority\" stands in line 3 again: only the last one "
                            "counts"));
    EXPECT_THAT(Found("{\"a\": {\"lib_path\": \"/l.so\"},\n"
                      "\"\\u0061\": {\"lib_path\": \"/l.so\"}}"),
                ElementsAre("1:2: error: \"a\" stands in line 2 again: only the last one counts"))
        << "however it is written";
}

TEST(ManifestCheck, IsntMisledByStringsAndComments) {
    EXPECT_THAT(Found("{ /* \"x\": { */ \"a\\\"}\": // \"y\": [\n"
                      "  {\"lib_path\": \"/{:\\\\\", \"dependencies\": [\"b:\"], \"z\" : 1}}"),
                ElementsAre("2:49: warning: the daemon knows no key \"z\""));
}

} // namespace
