// SPDX-License-Identifier: Apache-2.0

// Manifests beside the schema that editors get: what it holds against one, hearthctl check holds
// against it too, as far as a schema can say it. (The validator here knows draft 4, and so nothing
// of "propertyNames".)

#include <filesystem>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/schema.h>

#include "ManifestCheck.h"
#include "ReadFile.h"

namespace {

rapidjson::Document Parsed(const std::string& text) {
    rapidjson::Document document;
    document.Parse(text.c_str());
    EXPECT_FALSE(document.HasParseError()) << text;
    return document;
}

bool IsValid(const std::string& manifest) {
    static const rapidjson::Document document = Parsed(ReadFile(MANIFEST_SCHEMA));
    static const rapidjson::SchemaDocument schema(document);
    rapidjson::SchemaValidator validator(schema);
    return Parsed(manifest).Accept(validator);
}

bool IsClean(const std::string& manifest) {
    return hearthctl::ManifestCheck("m.json", manifest).Found().empty();
}

TEST(ManifestSchema, TakesTheManifestsOfTheExamples) {
    int count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(EXAMPLES)) {
        if (entry.path().extension() == ".json") {
            const std::string text = ReadFile(entry.path());
            EXPECT_TRUE(IsValid(text)) << entry.path();
            EXPECT_TRUE(IsClean(text)) << entry.path();
            ++count;
        }
    }
    EXPECT_GE(count, 6);
}

TEST(ManifestSchema, TakesWhatTheCheckTakes) {
    for (const char* text :
         {"{}", R"({"a": {"lib_path": "/l.so"}})",
          R"({"a": {"lib_path": "/l.so", "launch_type": 1}, "b": {"lib_path": "/m.so"}})",
          R"({"a": {"lib_path": "/l.so", "load_type": 0, "launch_type": 0, "priority": 255,
                    "dependencies": ["b"]}})"}) {
        EXPECT_TRUE(IsValid(text)) << text;
        EXPECT_TRUE(IsClean(text)) << text;
    }
}

TEST(ManifestSchema, RefusesWhatTheCheckTells) {
    for (const char* text : {"[]", "5", R"({"a": null})", R"({"a": "text"})", R"({"a": {}})",
                             R"({"$schema": "manifest.schema.json"})", R"({"a": {"lib_path": 5}})",
                             R"({"a": {"lib_path": ""}})", R"({"a": {"lib_path": "l.so"}})"}) {
        EXPECT_FALSE(IsValid(text)) << text;
        EXPECT_FALSE(IsClean(text)) << text;
    }
}

TEST(ManifestSchema, RefusesMembersThatTheCheckTells) {
    for (const char* member :
         {R"("load_type": 1)", R"("load_type": "0")", R"("launch_type": 2)",
          R"("launch_type": "LAZY")", R"("launch_type": true)", R"("priority": 256)",
          R"("priority": -1)", R"("priority": 1.5)", R"("priority": null)", R"("priority": "1")",
          R"("dependencies": "b")", R"("dependencies": {"b": "b"})", R"("dependencies": [1])",
          R"("dependencies": null)", R"("prio": 1)", R"("$schema": "s")"}) {
        const std::string text = std::string(R"({"a": {"lib_path": "/l.so", )") + member + "}}";
        EXPECT_FALSE(IsValid(text)) << text;
        EXPECT_FALSE(IsClean(text)) << text;
    }
}

} // namespace
