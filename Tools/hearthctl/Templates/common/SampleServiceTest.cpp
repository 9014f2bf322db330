#include <gtest/gtest.h>
#include <hearthd/HostedService.h>

// The library as the daemon has it, on its own thread.
TEST(SampleService, StartsAnswersAndStops) {
    hearthd::testing::HostedService service("sample", SERVICE_LIBRARY);
    ASSERT_TRUE(service.Start());
    const hearthd::testing::Reply reply = service.Call(Json::objectValue);
    EXPECT_EQ(reply.result, 0);
    EXPECT_TRUE(reply.payload.isMember("error")) << reply.payload;
    EXPECT_TRUE(service.Stop());
}
