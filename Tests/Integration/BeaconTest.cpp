// SPDX-License-Identifier: Apache-2.0

// The deadlock watchdog's device as any process uses it.

#include "Beacon.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

#include "TemporaryFolder.h"
#include "WaitUntil.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

constexpr unsigned long WRITE_LINE = 0x70;

// One use of the device: opened, written to, closed.
class Opened {
public:
    explicit Opened(const std::string& path) : m_descriptor(open(path.c_str(), O_RDWR)) {}
    ~Opened() { close(m_descriptor); }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;

    bool IsOpen() const { return m_descriptor >= 0; }
    /// 0, or the error.
    int Write(const void* line, unsigned long request = WRITE_LINE) const {
        return ioctl(m_descriptor, request, line) == 0 ? 0 : errno;
    }

private:
    const int m_descriptor;
};

class BeaconDevice : public testing::Test {
protected:
    BeaconDevice() {
        folder = (fs::temp_directory_path() / "hearthd-beacon-XXXXXX").string();
        mkdtemp(folder.data());
        path = folder + "/device";
        std::ofstream{path};
    }
    ~BeaconDevice() override {
        beacon.reset();
        fs::remove_all(folder);
    }

    void SetUp() override {
        Start();
        if (const std::string trouble = beacon->Trouble(); !trouble.empty()) {
            GTEST_SKIP() << "the device can't be served here: " << trouble;
        }
    }

    void Start(int keep = 50) { beacon = std::make_unique<Beacon>(path, folder + "/dumps", keep); }

    std::string folder;
    std::string path;
    std::unique_ptr<Beacon> beacon;
};

TEST_F(BeaconDevice, KeepsTheLinesOfADumpByThread) {
    const auto write = [this](const char* name, const char* first, const char* second) {
        pthread_setname_np(pthread_self(), name);
        const Opened device(path);
        EXPECT_EQ(device.Write(first), 0);
        EXPECT_EQ(device.Write(second), 0);
    };
    std::thread one(write, "first", "1)a", "1)b");
    one.join();
    std::thread two(write, "second", "2)a", "2)b");
    two.join();
    const std::string dump = beacon->WaitForDump();
    EXPECT_THAT(dump, testing::MatchesRegex("process [0-9]+ [a-z_]+\ntime [-0-9T:.]+Z\n"
                                            "thread [0-9]+ first\n1.a\n1.b\n"
                                            "thread [0-9]+ second\n2.a\n2.b\n"));
    EXPECT_THAT(dump, HasSubstr("process " + std::to_string(getpid()) + " "));
    EXPECT_TRUE(WaitUntil([&] { return beacon->Log().find(" 2)b\n") != std::string::npos; }));
}

TEST_F(BeaconDevice, BeginsANewDumpWhereAThreadComesAgain) {
    { EXPECT_EQ(Opened(path).Write("1)first"), 0); }
    { EXPECT_EQ(Opened(path).Write("1)second"), 0); }
    EXPECT_THAT(beacon->WaitForDump(2), HasSubstr("1)second\n"));
}

TEST_F(BeaconDevice, RefusesEveryOtherRequest) {
    const Opened device(path);
    ASSERT_TRUE(device.IsOpen());
    EXPECT_EQ(device.Write("x", 0x71), ENOTTY);
    EXPECT_EQ(device.Write("x", 0x5401), ENOTTY);
    EXPECT_EQ(device.Write("1)x"), 0);
    EXPECT_THAT(beacon->WaitForDump(), HasSubstr("1)x\n"));
}

TEST_F(BeaconDevice, RefusesALineThatIsntThere) {
    const Opened device(path);
    EXPECT_EQ(device.Write(nullptr), EFAULT);
    EXPECT_EQ(device.Write(reinterpret_cast<const void*>(8)), EFAULT);
    EXPECT_EQ(device.Write("1)x"), 0);
}

TEST_F(BeaconDevice, ReadsALineThatEndsAtTheLastByteOfItsMemory) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    char* const memory = static_cast<char*>(
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(memory, MAP_FAILED);
    munmap(memory + page, page);
    char* const line = memory + page - 8;
    std::strcpy(line, "1)the..");
    EXPECT_EQ(Opened(path).Write(line), 0);
    EXPECT_THAT(beacon->WaitForDump(), HasSubstr("1)the..\n"));
    line[7] = '!'; // and now without its end
    EXPECT_EQ(Opened(path).Write(line), EFAULT);
    munmap(memory, page);
}

TEST_F(BeaconDevice, CutsALineThatIsTooLong) {
    const std::string longLine(1000, 'x');
    EXPECT_EQ(Opened(path).Write(longLine.c_str()), 0);
    const std::string dump = beacon->WaitForDump();
    EXPECT_THAT(dump, HasSubstr("\n" + std::string(255, 'x') + "\n"));
}

TEST_F(BeaconDevice, LetsNoLineBecomeTwo) {
    EXPECT_EQ(Opened(path).Write("1)a\nthread 7 fake\x1b"), 0);
    EXPECT_THAT(beacon->WaitForDump(), HasSubstr("\n1)a?thread 7 fake?\n"));
}

TEST_F(BeaconDevice, KeepsTheNewestDumpsOnly) {
    ASSERT_EQ(beacon->End(), 0);
    Start(3);
    ASSERT_EQ(beacon->Trouble(), "");
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Opened(path).Write(("1)" + std::to_string(i)).c_str()), 0);
        ASSERT_TRUE(WaitUntil([&] {
            return beacon->Log().find("dumps/dump-") != std::string::npos &&
                   !beacon->Dumps().empty();
        }));
    }
    ASSERT_EQ(beacon->End(), 0);
    EXPECT_EQ(beacon->Dumps().size(), 3U);
    EXPECT_THAT(beacon->WaitForDump(3), HasSubstr("1)4\n"));
}

TEST_F(BeaconDevice, ComesBackAfterItsServerHasDied) {
    beacon->Kill();
    ASSERT_TRUE(WaitUntil([&] { return !Opened(path).IsOpen(); }));
    Start();
    ASSERT_EQ(beacon->Trouble(), "");
    EXPECT_EQ(Opened(path).Write("1)again"), 0);
    EXPECT_THAT(beacon->WaitForDump(), HasSubstr("1)again\n"));
}

TEST_F(BeaconDevice, MayBeEmptiedLikeAFileAndStaysAsItIs) {
    EXPECT_EQ(truncate(path.c_str(), 0), 0);
    EXPECT_EQ(chmod(path.c_str(), 0666), 0);
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_EQ(Opened(path).Write("1)x"), 0);
}

TEST_F(BeaconDevice, EndsItsServerWhenItIsUnmounted) {
    EXPECT_EQ(Opened(path).Write("1)x"), 0);
    EXPECT_EQ(Program({"fusermount3", "-u", path}).Wait(), 0);
    EXPECT_EQ(beacon->WaitForEnd(), 0);
    EXPECT_THAT(beacon->Log(), HasSubstr(path + " has been unmounted"));
    EXPECT_THAT(beacon->WaitForDump(), HasSubstr("1)x\n"));
}

TEST_F(BeaconDevice, ServesEightThreadsAtOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([this, i] {
            const Opened device(path);
            for (int n = 0; n < 50; ++n) {
                const std::string line = std::to_string(i) + ")" + std::to_string(n);
                EXPECT_EQ(device.Write(line.c_str()), 0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ASSERT_EQ(beacon->End(), 0);
    std::size_t lines = 0;
    for (const fs::path& dump : beacon->Dumps()) {
        std::ifstream file(dump);
        for (std::string line; std::getline(file, line);) {
            lines += line.find(')') == 1 ? 1 : 0;
        }
    }
    EXPECT_EQ(lines, 8U * 50U);
}

TEST(Beacon, SaysWhatIsWrongWithItsDevice) {
    Beacon beacon("/nowhere/device", fs::temp_directory_path() / "hearthd-beacon-none");
    EXPECT_THAT(beacon.Trouble(), HasSubstr("/nowhere/device: No such file or directory"));
    fs::remove_all(fs::temp_directory_path() / "hearthd-beacon-none");
}

TEST(Beacon, RefusesAFolderAsItsDevice) {
    const TemporaryFolder folder;
    Beacon beacon(folder.Path(), folder.Path() / "dumps");
    EXPECT_EQ(beacon.WaitForEnd(), 1);
    EXPECT_THAT(beacon.Log(), HasSubstr(folder.Path().string() + " is no regular file"));
}

TEST(Beacon, SaysHowItIsUsed) {
    const TemporaryFolder folder;
    for (const std::vector<std::string>& wrong :
         std::vector<std::vector<std::string>>{{"--keep", "0"},
                                               {"--keep", "5x"},
                                               {"--keep", ""},
                                               {"--keep", "99999999999999999999999"},
                                               {"--keep"},
                                               {"--pace", "fast"}}) {
        // Nothing of the machine's own, should it be taken.
        std::vector<std::string> words{
            HEARTHD_STAGE "/usr/apps/org.norvane.hearthd/bin/hang-beacon", "--device",
            "/nowhere/device", "--folder", folder.Path() / "dumps"};
        words.insert(words.end(), wrong.begin(), wrong.end());
        Program beacon(words);
        EXPECT_EQ(beacon.Wait(), 2) << wrong.back();
        EXPECT_EQ(beacon.Errors(),
                  "usage: hang-beacon [--device FILE] [--folder FOLDER] [--keep COUNT]\n");
    }
}

} // namespace
