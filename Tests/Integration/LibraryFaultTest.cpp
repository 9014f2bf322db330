// SPDX-License-Identifier: Apache-2.0

// A service's library goes away while the daemon runs.

#include "HoldTest.h"

#include <filesystem>

namespace {

namespace fs = std::filesystem;

constexpr const char* NOT_LOADED = "Failed to change status. Current service status is not-load\n"
                                   "Failed to change status. Current service status is not-load\n";

class LibraryFault : public HoldTest {
protected:
    LibraryFault() { PutBack(); }

    void PutBack() const { fs::copy_file(HEARTHD_TEST_SERVICES "/libprobe2.so", m_library); }
    void Remove() const { fs::remove(m_library); }
    void ExpectNoSuchFile(int count = 1) const {
        EXPECT_TRUE(daemon.WaitForLog("> failed to load library. Error msg: " + m_library.string() +
                                          ": cannot open shared object file: No such file",
                                      count));
    }

    const TemporaryFolder m_folder;
    const fs::path m_library = m_folder.Path() / "libvanishing.so";
};

TEST_F(LibraryFault, LeavesALazyServiceNotLoadedUntilTheLibraryIsBack) {
    daemon.AddService("vanishing", {.library = m_library, .launchType = 1});
    StartAndWait();
    Remove();
    EXPECT_EQ(Shell("status-start", "vanishing"), NOT_LOADED);
    ExpectNoSuchFile();
    EXPECT_EQ(Call("vanishing", PAYLOAD), DELIVERY_FAILED);
    ExpectProbeAnswers();
    PutBack();
    EXPECT_EQ(Shell("status-start", "vanishing"), STARTED);
    EXPECT_EQ(Call("vanishing", PAYLOAD), PAYLOAD);
}

TEST_F(LibraryFault, PassesOverAServiceWhoseLibraryGoesAheadOfItsTurn) {
    daemon.AddService("held", {.library = "libheld.so", .priority = 5});
    daemon.AddService("vanishing", {.library = m_library, .priority = 3});
    daemon.AddService("probe3", {.library = "libprobe3.so"});
    Hold("start");
    daemon.Start();
    ASSERT_TRUE(IsHeldIn("start"));
    Remove();
    LetGoOf("start");
    ASSERT_TRUE(daemon.WaitForLog("> started probe3"));
    ExpectNoSuchFile();
    EXPECT_EQ(CountOf(daemon.Log(), "> failed to load vanishing service"), 1);
    EXPECT_EQ(Call("vanishing", PAYLOAD), DELIVERY_FAILED);
    EXPECT_EQ(Call("probe3", PAYLOAD), PAYLOAD);
}

TEST_F(LibraryFault, LeavesAServiceThatIsLoadedAloneUntilItIsLoadedAgain) {
    daemon.AddService("vanishing", {.library = m_library});
    StartAndWait();
    Remove();
    EXPECT_EQ(Call("vanishing", PAYLOAD), PAYLOAD);
    EXPECT_EQ(Shell("status-unload", "vanishing"), UNLOADED);
    EXPECT_EQ(Shell("status-start", "vanishing"), NOT_LOADED);
    ExpectNoSuchFile();
    ExpectProbeAnswers();
}

TEST_F(LibraryFault, OfTheBeginningOfALibraryIsAFailedLoad) {
    daemon.AddService("vanishing", {.library = m_library, .launchType = 1});
    StartAndWait();
    fs::resize_file(m_library, 100);
    EXPECT_EQ(Shell("status-start", "vanishing"), NOT_LOADED);
    EXPECT_TRUE(daemon.WaitForLog("> failed to load library. Error msg: " + m_library.string() +
                                  ": cannot read file data"));
    Remove();
    PutBack();
    EXPECT_EQ(Shell("status-start", "vanishing"), STARTED);
    EXPECT_EQ(Call("vanishing", PAYLOAD), PAYLOAD);
}

} // namespace
