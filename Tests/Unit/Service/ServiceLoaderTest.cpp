// SPDX-License-Identifier: Apache-2.0
#include "ServiceLoader.h"

#include <gtest/gtest.h>

#include "CoreAppProcessServiceLoader.h"
#include "ExternalProcessServiceLoader.h"
#include "LogCapture.h"

namespace {

using marrow::ser::LoadType;

TEST(ServiceLoader, HasALoaderForEachLoadType) {
    EXPECT_NE(
        dynamic_cast<CoreAppProcessServiceLoader*>(ServiceLoader::Get(LoadType::COREAPP_PROCESS)),
        nullptr);
    EXPECT_NE(
        dynamic_cast<ExternalProcessServiceLoader*>(ServiceLoader::Get(LoadType::EXTERNAL_PROCESS)),
        nullptr);
}

TEST(ServiceLoader, ReturnsTheSameObjectForATypeAtEveryCall) {
    for (const LoadType type : {LoadType::COREAPP_PROCESS, LoadType::EXTERNAL_PROCESS}) {
        EXPECT_EQ(ServiceLoader::Get(type), ServiceLoader::Get(type));
    }
    EXPECT_NE(ServiceLoader::Get(LoadType::COREAPP_PROCESS),
              ServiceLoader::Get(LoadType::EXTERNAL_PROCESS));
}

TEST(ServiceLoader, YieldsNullForAnyOtherTypeAtEveryCallAndDisturbsNoLoader) {
    for (const int type : {2, -1, 255, 2}) {
        EXPECT_EQ(ServiceLoader::Get(static_cast<LoadType>(type)), nullptr);
    }
    IServiceLoader* const core = ServiceLoader::Get(LoadType::COREAPP_PROCESS);
    IServiceLoader* const external = ServiceLoader::Get(LoadType::EXTERNAL_PROCESS);
    ASSERT_NE(core, nullptr);
    ASSERT_NE(external, nullptr);
    EXPECT_EQ(ServiceLoader::Get(static_cast<LoadType>(2)), nullptr);
    EXPECT_EQ(ServiceLoader::Get(LoadType::COREAPP_PROCESS), core);
    EXPECT_EQ(ServiceLoader::Get(LoadType::EXTERNAL_PROCESS), external);
}

TEST(ExternalProcessServiceLoader, DeclinesEveryLoadWithoutAWord) {
    ExternalProcessServiceLoader loader;
    marrow::ser::service_info_t info;
    info.service_name = "external";
    info.load_type = LoadType::EXTERNAL_PROCESS;
    LogCapture::Clear();
    EXPECT_EQ(loader.Load(info), nullptr);
    EXPECT_TRUE(LogCapture::Lines().empty());
}

TEST(ExternalProcessServiceLoader, DeclinesEveryUnloadAndLeavesTheContextAlone) {
    ExternalProcessServiceLoader loader;
    service_context_t context;
    context.service_name = "external";
    LogCapture::Clear();
    EXPECT_FALSE(loader.Unload(&context));
    EXPECT_FALSE(loader.Unload(nullptr));
    EXPECT_EQ(context.service_name, "external");
    EXPECT_TRUE(LogCapture::Lines().empty());
}

} // namespace
