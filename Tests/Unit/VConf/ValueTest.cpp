// SPDX-License-Identifier: Apache-2.0

// Values, by the library's calls.

#include <climits>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <thread>

#include "Dlog.h"
#include "StorePeer.h"
#include "VConfFixture.h"

namespace {

using ValueTest = VConfTest;

std::optional<std::string> GetString(const char* key) {
    const std::unique_ptr<char, void (*)(void*)> text(vconf_get_str(key), std::free);
    return text ? std::optional<std::string>(text.get()) : std::nullopt;
}

std::optional<int> GetInt(const std::string& key) {
    int value = 0;
    return vconf_get_int(key.c_str(), &value) == 0 ? std::optional(value) : std::nullopt;
}

bool IsLogged(int priority, const std::string& text) {
    return LogCapture::Count(priority, text) == 1;
}

TEST_F(ValueTest, TypesHaveTheirNumbers) {
    EXPECT_EQ(VCONF_NONE, 0);
    EXPECT_EQ(VCONF_STRING, 40);
    EXPECT_EQ(VCONF_INT, 41);
    EXPECT_EQ(VCONF_DOUBLE, 42);
    EXPECT_EQ(VCONF_BOOL, 43);
}

TEST_F(ValueTest, AnIntegerComesBack) {
    for (const int value : {0, 1, -1, 42, INT_MAX, INT_MIN}) {
        ASSERT_EQ(vconf_set_int("db/number", value), 0);
        EXPECT_EQ(GetInt("db/number"), value);
    }
}

TEST_F(ValueTest, ABooleanIsKeptAsItIs) {
    for (const int value : {0, 1, 2, -7, INT_MIN}) {
        ASSERT_EQ(vconf_set_bool("db/flag", value), 0);
        int result = 99;
        EXPECT_EQ(vconf_get_bool("db/flag", &result), 0);
        EXPECT_EQ(result, value);
    }
}

TEST_F(ValueTest, ADoubleComesBackToTheLastBit) {
    using Limits = std::numeric_limits<double>;
    for (const double value : {0.0, 2.0, 0.1, -1e300, Limits::max(), Limits::min(),
                               Limits::denorm_min(), Limits::infinity(), -Limits::infinity()}) {
        ASSERT_EQ(vconf_set_dbl("db/real", value), 0);
        double result = 99;
        EXPECT_EQ(vconf_get_dbl("db/real", &result), 0);
        EXPECT_EQ(result, value);
    }
}

TEST_F(ValueTest, NoNumberIsNoDouble) {
    ASSERT_EQ(vconf_set_dbl("db/real", 1.5), 0);
    EXPECT_EQ(vconf_set_dbl("db/real", std::nan("")), -1);
    EXPECT_TRUE(IsLogged(DLOG_WARN, "vconf_set_dbl: the value of db/real is not a number"));
    double result = 0;
    EXPECT_EQ(vconf_get_dbl("db/real", &result), 0);
    EXPECT_EQ(result, 1.5);
}

TEST_F(ValueTest, AStringComesBack) {
    for (const char* value : {"", "word", "two\nlines\tand \x01", "\u20ac \U0001F600", "42"}) {
        ASSERT_EQ(vconf_set_str("db/text", value), 0);
        EXPECT_EQ(GetString("db/text"), value);
    }
}

TEST_F(ValueTest, AStringMayHaveOneMebibyte) {
    const std::string longest(1024 * 1024, 'x');
    ASSERT_EQ(vconf_set_str("db/text", longest.c_str()), 0);
    EXPECT_EQ(GetString("db/text"), longest);
    EXPECT_EQ(vconf_set_str("db/text", (longest + "y").c_str()), -1);
    EXPECT_TRUE(IsLogged(DLOG_WARN, "vconf_set_str: the value of db/text is longer than 1 MiB"));
    EXPECT_EQ(GetString("db/text"), longest);
}

TEST_F(ValueTest, AStringThatIsNoUtf8IsRefused) {
    EXPECT_EQ(vconf_set_str("db/text", "\xff"), -1);
    EXPECT_TRUE(IsLogged(DLOG_WARN, "vconf_set_str: the value of db/text is not UTF-8"));
    EXPECT_EQ(GetString("db/text"), std::nullopt);
}

TEST_F(ValueTest, TheStringBelongsToTheCaller) {
    ASSERT_EQ(vconf_set_str("db/text", "one"), 0);
    char* const first = vconf_get_str("db/text");
    char* const second = vconf_get_str("db/text");
    ASSERT_NE(first, nullptr);
    first[0] = 'X';
    EXPECT_STREQ(second, "one");
    std::free(first);
    std::free(second);
    EXPECT_EQ(GetString("db/text"), "one");
}

TEST_F(ValueTest, AKeyOfAnotherTypeLeavesTheResultAlone) {
    ASSERT_EQ(vconf_set_str("db/key", "text"), 0);
    int integer = 5;
    double real = 0.5;
    EXPECT_EQ(vconf_get_int("db/key", &integer), -1);
    EXPECT_EQ(vconf_get_bool("db/key", &integer), -1);
    EXPECT_EQ(vconf_get_dbl("db/key", &real), -1);
    EXPECT_EQ(integer, 5);
    EXPECT_EQ(real, 0.5);
    EXPECT_TRUE(IsLogged(DLOG_WARN, "vconf_get_int: db/key is a string, not an integer"));
    EXPECT_TRUE(IsLogged(DLOG_WARN, "vconf_get_bool: db/key is a string, not a boolean"));
    EXPECT_TRUE(IsLogged(DLOG_WARN, "vconf_get_dbl: db/key is a string, not a double"));
    ASSERT_EQ(vconf_set_int("db/key", 1), 0);
    EXPECT_EQ(vconf_get_bool("db/key", &integer), -1);
    EXPECT_EQ(vconf_get_str("db/key"), nullptr);
    EXPECT_EQ(integer, 5);
    EXPECT_TRUE(IsLogged(DLOG_WARN, "vconf_get_bool: db/key is an integer, not a boolean"));
    EXPECT_TRUE(IsLogged(DLOG_WARN, "vconf_get_str: db/key is an integer, not a string"));
}

TEST_F(ValueTest, AKeyThatDoesntExistIsAFailureAndToldInTheLog) {
    int integer = 5;
    double real = 0.5;
    EXPECT_EQ(vconf_get_int("db/none", &integer), -1);
    EXPECT_EQ(vconf_get_bool("db/none", &integer), -1);
    EXPECT_EQ(vconf_get_dbl("db/none", &real), -1);
    EXPECT_EQ(vconf_get_str("db/none"), nullptr);
    EXPECT_EQ(vconf_unset("db/none"), -1);
    EXPECT_EQ(integer, 5);
    EXPECT_EQ(real, 0.5);
    for (const char* function :
         {"vconf_get_int", "vconf_get_bool", "vconf_get_dbl", "vconf_get_str", "vconf_unset"}) {
        EXPECT_TRUE(IsLogged(DLOG_WARN, std::string(function) + ": no key db/none")) << function;
    }
    ASSERT_FALSE(LogCapture::Lines().empty());
    EXPECT_EQ(LogCapture::Lines()[0].tag, "VCONF");
}

TEST_F(ValueTest, SettingReplacesValueAndType) {
    ASSERT_EQ(vconf_set_int("db/key", 1), 0);
    ASSERT_EQ(vconf_set_str("db/key", "two"), 0);
    EXPECT_EQ(GetString("db/key"), "two");
    EXPECT_EQ(GetInt("db/key"), std::nullopt);
}

TEST_F(ValueTest, ARemovedKeyIsGoneUntilItIsSet) {
    ASSERT_EQ(vconf_set_int("db/key", 1), 0);
    EXPECT_EQ(vconf_unset("db/key"), 0);
    EXPECT_EQ(GetInt("db/key"), std::nullopt);
    EXPECT_EQ(vconf_unset("db/key"), -1);
    ASSERT_EQ(vconf_set_int("db/key", 2), 0);
    EXPECT_EQ(GetInt("db/key"), 2);
}

TEST_F(ValueTest, NamesAreToldApartToTheByte) {
    ASSERT_EQ(vconf_set_int("db/Key", 1), 0);
    ASSERT_EQ(vconf_set_int("db/key", 2), 0);
    ASSERT_EQ(vconf_set_int("db/key/more", 3), 0);
    EXPECT_EQ(GetInt("db/Key"), 1);
    EXPECT_EQ(GetInt("db/key"), 2);
    EXPECT_EQ(GetInt("db/key/more"), 3);
    EXPECT_EQ(GetInt("db/k%"), std::nullopt);
}

TEST_F(ValueTest, AMalformedKeyIsRefusedByEveryCall) {
    int integer = 5;
    double real = 0.5;
    auto& list = Keep<ChangeList>();
    for (const char* key : {"", "/db", "db/", "db//x", "db/\n", "db/\xff"}) {
        EXPECT_EQ(vconf_set_int(key, 1), -1);
        EXPECT_EQ(vconf_set_bool(key, 1), -1);
        EXPECT_EQ(vconf_set_dbl(key, 1), -1);
        EXPECT_EQ(vconf_set_str(key, "x"), -1);
        EXPECT_EQ(vconf_get_int(key, &integer), -1);
        EXPECT_EQ(vconf_get_bool(key, &integer), -1);
        EXPECT_EQ(vconf_get_dbl(key, &real), -1);
        EXPECT_EQ(vconf_get_str(key), nullptr);
        EXPECT_EQ(vconf_unset(key), -1);
        EXPECT_EQ(vconf_sync_key(key), -1);
        EXPECT_EQ(vconf_notify_key_changed(key, ChangeList::Add, &list), -1);
        EXPECT_EQ(vconf_ignore_key_changed(key, ChangeList::Add), -1);
    }
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, "vconf_set_int: a malformed key"), 6);
    EXPECT_EQ(LogCapture::Lines().size(), 6U * 12U);
}

TEST_F(ValueTest, NullPointersAreRefused) {
    ASSERT_EQ(vconf_set_int("db/key", 1), 0);
    int integer = 5;
    double real = 0.5;
    EXPECT_EQ(vconf_set_int(nullptr, 1), -1);
    EXPECT_EQ(vconf_set_bool(nullptr, 1), -1);
    EXPECT_EQ(vconf_set_dbl(nullptr, 1), -1);
    EXPECT_EQ(vconf_set_str(nullptr, "x"), -1);
    EXPECT_EQ(vconf_set_str("db/key", nullptr), -1);
    EXPECT_EQ(vconf_get_int(nullptr, &integer), -1);
    EXPECT_EQ(vconf_get_int("db/key", nullptr), -1);
    EXPECT_EQ(vconf_get_bool(nullptr, &integer), -1);
    EXPECT_EQ(vconf_get_bool("db/key", nullptr), -1);
    EXPECT_EQ(vconf_get_dbl(nullptr, &real), -1);
    EXPECT_EQ(vconf_get_dbl("db/key", nullptr), -1);
    EXPECT_EQ(vconf_get_str(nullptr), nullptr);
    EXPECT_EQ(vconf_unset(nullptr), -1);
    EXPECT_EQ(vconf_sync_key(nullptr), -1);
    EXPECT_EQ(vconf_notify_key_changed(nullptr, ChangeList::Add, nullptr), -1);
    EXPECT_EQ(vconf_notify_key_changed("db/key", nullptr, nullptr), -1);
    EXPECT_EQ(vconf_ignore_key_changed(nullptr, ChangeList::Add), -1);
    EXPECT_EQ(vconf_ignore_key_changed("db/key", nullptr), -1);
    EXPECT_EQ(LogCapture::Lines().size(), 18U);
    EXPECT_EQ(GetInt("db/key"), 1);
    EXPECT_EQ(vconf_keynode_get_name(nullptr), nullptr);
    EXPECT_EQ(vconf_keynode_get_type(nullptr), -1);
    EXPECT_EQ(vconf_keynode_get_int(nullptr), 0);
    EXPECT_EQ(vconf_keynode_get_bool(nullptr), 0);
    EXPECT_EQ(vconf_keynode_get_dbl(nullptr), 0.0);
    EXPECT_STREQ(vconf_keynode_get_str(nullptr), "");
}

TEST_F(ValueTest, EveryProcessSeesWhatIsSet) {
    StorePeer peer;
    ASSERT_EQ(vconf_set_int("db/key", 1), 0);
    EXPECT_EQ(peer.Ask("get_int db/key"), "1");
    EXPECT_EQ(peer.Ask("set_int db/key 2"), "0");
    EXPECT_EQ(GetInt("db/key"), 2);
    EXPECT_EQ(peer.Ask("unset db/key"), "0");
    EXPECT_EQ(GetInt("db/key"), std::nullopt);
}

TEST_F(ValueTest, ValuesSurviveTheEndOfTheProcessHoweverItEnds) {
    {
        StorePeer peer;
        EXPECT_EQ(peer.Ask("set_int db/a 1"), "0");
        EXPECT_EQ(peer.End(), 0);
    }
    {
        StorePeer peer;
        EXPECT_EQ(peer.Ask("set_int db/b 2"), "0");
        peer.Signal(SIGKILL);
        EXPECT_EQ(peer.End(), 128 + SIGKILL);
    }
    StorePeer peer;
    EXPECT_EQ(peer.Ask("get_int db/a"), "1");
    EXPECT_EQ(peer.Ask("get_int db/b"), "2");
}

TEST_F(ValueTest, MemoryKeysSurviveTheEndOfAllProcesses) {
    {
        StorePeer peer;
        EXPECT_EQ(peer.Ask("set_int memory/a 1"), "0");
        EXPECT_EQ(peer.End(), 0);
    }
    EXPECT_EQ(GetInt("memory/a"), 1);
}

} // namespace
