// SPDX-License-Identifier: Apache-2.0
#include "JsonCodecSamples.h"

#include <bit>
#include <cmath>
#include <iterator>
#include <sstream>
#include <string_view>

namespace json_samples {

namespace {

using namespace std::string_literals;

template <class... Choices>
std::string OneOf(std::mt19937& random, const Choices&... choices) {
    const std::vector<std::string> all{choices...};
    return all[random() % all.size()];
}

std::string Repeated(std::string_view text, std::size_t count) {
    std::string repeated;
    for (std::size_t i = 0; i < count; ++i) {
        repeated += text;
    }
    return repeated;
}

// What stands between blanks.
std::vector<std::string> Words(const char* text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

std::vector<std::string> Numbers() {
    std::vector<std::string> numbers =
        Words("0 -0 +0 +1 00 01 -01 - + --1 1. .5 -.5 1.e3 1e 1e+ 1E- 1e5 1E5 1e+05 "
              "1e-05 0e0 0E+00 -0.0 -0e9 1.0 0.1 0.30000000000000004 123456789012345678 "
              "2147483647 2147483648 -2147483648 -2147483649 4294967295 4294967296 "
              "9007199254740993 9007199254740993.0 9223372036854775806 "
              "9223372036854775807 9223372036854775808 -9223372036854775807 "
              "-9223372036854775808 -9223372036854775809 18446744073709551609 "
              "18446744073709551614 18446744073709551615 18446744073709551616 "
              "18446744073709551620 99999999999999999999 -18446744073709551615 "
              "000000000000000000000000000000000000000000001 "
              "100000000000000000000000000000000000000000000 1e308 "
              "1.7976931348623157e308 1.7976931348623158e308 1.7976931348623159e308 "
              "1e309 1e400 -1e400 1e99999999999999999999 1e-99999999999999999999 "
              "0e99999999999999999999 2.2250738585072014e-308 2.2250738585072011e-308 "
              "4.9e-324 5e-324 2.4703282292062327e-324 2.4703282292062328e-324 -2e-324 "
              "1e-400 -1e-400 8.98846567431158e307 "
              "3.14159265358979323846264338327950288419716939937510582097494459230781640628620899 "
              "0x10 1_000 1,5 NaN nan Infinity -Infinity -Inf 1f ");
    for (const std::string& number :
         {"0." + Repeated("1234567890", 90), Repeated("1234567890", 30) + ".5", Repeated("9", 400),
          "1" + Repeated("0", 300) + "e-300", "0." + Repeated("0", 400) + "1e401", "1 2"s}) {
        numbers.push_back(number);
    }
    return numbers;
}

std::vector<std::string> Strings() {
    return {"",
            "plain",
            R"(\"\\\/\b\f\n\r\t)",
            R"(\u0000)",
            R"(\u0001\u001f\u007f\u0080\u00e4\u07ff\u0800\uffff)",
            R"(\uD83D\uDCFA)",
            R"(\ud800\udc00\udbff\udfff)",
            R"(\ud800)",
            R"(\ud800x)",
            R"(\ud800\n)",
            R"(\ud800\ud800)",
            R"(\ud800\u0041)",
            R"(\ud800\ue000)",
            R"(\udc00)",
            R"(\udfff\ud800)",
            R"(\uDBFF\uDC0)",
            R"(\u)",
            R"(\u12)",
            R"(\u12g4)",
            R"(\U0041)",
            R"(\x41)",
            R"(\a)",
            R"(\')",
            R"(\)",
            "\\\0"s,
            "'",
            "/",
            "\x7F",
            "tab\there",
            "line\nbreak",
            "\r\x01\x1F",
            "nul\0inside"s,
            "h\xC3\xA4llo",
            "\xEA\xB0\x80\xEB\x82\x98",
            "\xF0\x9F\x93\xBA",
            "\xF4\x8F\xBF\xBF",
            "\xEF\xBF\xBE\xEF\xBF\xBF\xEF\xB7\x90",
            "\xEF\xBB\xBF",
            "\x80",
            "\xBF\xBF",
            "\xC3",
            "\xC3(",
            "\xC0\x80",
            "\xC1\xBF",
            "\xE0\x80\xAF",
            "\xE2\x82",
            "\xED\xA0\x80",
            "\xED\xBF\xBF",
            "\xF0\x80\x80\x80",
            "\xF0\x9F\x93",
            "\xF4\x90\x80\x80",
            "\xF5\x80\x80\x80",
            "\xF8\x88\x80\x80\x80",
            "\xFE",
            "\xFF",
            Repeated("0123456789abcdef", 5000),
            Repeated("\xC3\xA4", 3000),
            Repeated(R"(\n)", 3000),
            Repeated("seven..", 9) + R"(\")",
            Repeated("x", 63) + "\xFF"};
}

// Of a few words, so that objects of the same keys come again, and keys within an object too.
std::string RandomKey(std::mt19937& random) {
    return OneOf(random, "a", "b", "c", "name", "level", "index", "on", "", "name2", "a\\u0062",
                 "ab", "\xC3\xA4", "long key with blanks");
}

std::string RandomString(std::mt19937& random) {
    static const std::vector<std::string> odd = Strings();
    std::string text;
    for (unsigned pieces = random() % 4; pieces > 0; --pieces) {
        const std::string& piece = odd[random() % odd.size()];
        text += random() % 8 == 0 && piece.size() < 100
                    ? piece
                    : std::string(random() % 20, static_cast<char>('a' + random() % 26));
    }
    return text;
}

std::string RandomNumber(std::mt19937& random) {
    static const std::vector<std::string> odd = Numbers();
    const auto digits = [&](unsigned most) {
        std::string some;
        for (unsigned i = random() % most + 1; i > 0; --i) {
            some += static_cast<char>('0' + random() % 10);
        }
        return some;
    };
    switch (random() % 12) {
    case 0:
        return odd[random() % odd.size()];
    case 1:
        return digits(22);
    case 2:
        return "-" + digits(21);
    case 3:
        return digits(5) + "." + digits(20);
    case 4:
        return digits(2) + "e" + OneOf(random, "", "-", "+") + digits(3);
    case 5:
        return "-" + std::to_string(random() % 10) + "." + digits(17) + "E-" + digits(3);
    case 6:
        return std::to_string(random() % 1000) + OneOf(random, ".5", ".25", ".125", ".1", ".0");
    default:
        return std::to_string(static_cast<std::int32_t>(random()) >> random() % 32);
    }
}

std::string RandomBytes(std::mt19937& random) {
    std::string bytes;
    for (unsigned i = random() % 24; i > 0; --i) {
        const unsigned kind = random() % 12;
        bytes += kind == 0   ? static_cast<char>(random())
                 : kind == 1 ? static_cast<char>(random() % 32)
                 : kind == 2 ? "\"\\/\x7F"[random() % 4]
                             : static_cast<char>('a' + random() % 26);
    }
    return bytes + (random() % 6 == 0
                        ? OneOf(random, "\xC3\xA4", "\xEA\xB0\x80", "\xF0\x9F\x93\xBA",
                                "\xEF\xBF\xBE", "\xED\xA0\x80", "\xC3")
                        : "");
}

} // namespace

std::vector<std::string> OddTexts() {
    std::vector<std::string> texts = Words(R"--(
{}{} {}x {}, []] [ ] { } [} {] [1,] [,1] [,] [1,,2] {,} {"a"} {"a":} {"a":1,}
{"a"::1} {a:1} {'a':1} {1:1} {null:1} {"":1} {"":1,"":2} {"":{"":{"":[]}}}
{"a":1,"a":1} {"a":null,"a":null} {"a":null,"a":1} {"a":1,"b":{"a":2},"c":3}
{"a":1,"\u0061":1} {"x\u0000a":1,"x\u0000b":2} {"x\u0000a":1,"x\u0000a":2}
[{"k":1,"k":1}] "unclosed ["unclosed] true false null tru truex True nul
nullnull [true,false,null] [truefalse] {/**/} [1/**/,2] #{} [1;2] [(1)]
undefined
)--");
    for (const std::string& text :
         std::initializer_list<std::string>{"",
                                            " ",
                                            "\t\n\r ",
                                            "\0"s,
                                            "{}\0"s,
                                            "{}\0garbage"s,
                                            "\0{}"s,
                                            "{\0}"s,
                                            "[1,\0 2]"s,
                                            "{\"a\0b\":1}"s,
                                            "[\"a\0b\"]"s,
                                            "\xEF\xBB\xBF{}",
                                            "\xEF\xBB\xBF",
                                            "\xEF\xBB\xBF\xEF\xBB\xBF[]",
                                            "\xEF\xBB{}",
                                            "\xFE\xFF{}",
                                            "\xFF\xFE{\0}\0"s,
                                            "{} ",
                                            " {}",
                                            "{}\v",
                                            "\f{}",
                                            "\xC2\xA0{}",
                                            "[1 2]",
                                            "{\"a\":1 \"b\":2}",
                                            "{\"a\" 1}",
                                            "{\"b\":1,\"a\":2,\"aa\":3,\"B\":4,\"\xC3\xA4\":5}",
                                            "/* c */ {}",
                                            "{} // c",
                                            "// c\n{}"}) {
        texts.push_back(text);
    }
    for (const std::string& number : Numbers()) {
        for (const char* frame : {"", "[", "{\"n\":", "[0,"}) {
            const std::string head = frame;
            const bool isObject = head.starts_with('{');
            texts.push_back(head + number + (head.empty() ? "" : isObject ? "}" : "]"));
            texts.push_back(head + " " + number + (head.empty() ? " " : isObject ? " }" : "\n]"));
        }
    }
    for (const std::string& string : Strings()) {
        texts.push_back('"' + string + '"');
        texts.push_back("[\"" + string + "\",\"next\"]");
        texts.push_back("{\"" + string + "\":\"" + string + "\",\"z\":\"" + string + "\"}");
    }
    for (const std::size_t depth : {1U, 2U, 127U, 128U, 129U, 130U, 1023U, 1024U, 1025U, 50000U}) {
        for (const char* inner : {"", "1", "{}", "[]", "null", "\"s\"", "{\"a\":1}"}) {
            texts.push_back(Repeated("[", depth) + inner + Repeated("]", depth));
            texts.push_back(Repeated("[1,", depth) + (*inner == 0 ? "2" : inner) +
                            Repeated("]", depth));
            texts.push_back(Repeated("{\"a\":", depth) + (*inner == 0 ? "2" : inner) +
                            Repeated("}", depth));
            texts.push_back(Repeated("{\"a\":[", depth) + inner + Repeated("]}", depth));
        }
        texts.push_back(Repeated("[", depth));
    }
    for (const unsigned count : {15U, 16U, 17U, 40U, 3000U}) {
        for (const unsigned same : {count, 0U, count / 2, count - 1}) {
            std::string object = "{";
            for (unsigned i = 0; i < count; ++i) {
                object += "\"k" + std::to_string(i * 7 % count) + "\":" + std::to_string(i) + ",";
            }
            object += same == count ? "\"last\":0}" : "\"k" + std::to_string(same) + "\":0}";
            texts.push_back(object);
            texts.push_back("[" + object + "," + object + "," + object + "]");
        }
    }
    texts.push_back("[" + Repeated("1,", 100000) + "2]");
    texts.push_back("[" + Repeated("{\"a\":[],\"b\":0.5},", 20000) + "{\"b\":1,\"a\":2}]");
    texts.push_back(Repeated(" ", 300000) + "{\"a\":1}" + Repeated("\n", 300000));
    texts.push_back("{\"long\":\"" + Repeated("0123456789", 100000) + "\"}");
    return texts;
}

std::string RandomText(std::mt19937& random, int depth) {
    const std::string blank = random() % 10 == 0 ? OneOf(random, " ", "\n", "\t", "\r\n  ") : "";
    switch (random() % (depth > 0 ? 10U : 5U)) {
    case 0:
        return blank + RandomNumber(random);
    case 1:
        return RandomNumber(random) + blank;
    case 2:
    case 3:
        return '"' + RandomString(random) + '"';
    case 4:
        return OneOf(random, "true", "false", "null");
    case 5:
    case 6:
    case 7: {
        std::string text = "{";
        for (unsigned i = random() % 4; i > 0; --i) {
            text += text.size() > 1 ? "," + blank : blank;
            text += '"' + RandomKey(random) + "\":" + RandomText(random, depth - 1);
        }
        return text + "}";
    }
    default: {
        std::string text = "[";
        for (unsigned i = random() % 5; i > 0; --i) {
            text += text.size() > 1 ? blank + "," : blank;
            text += RandomText(random, depth - 1);
        }
        return text + "]";
    }
    }
}

std::string Mutated(std::mt19937& random, std::string text) {
    constexpr std::string_view MARKS = "{}[]\",:\\u0-+.eE1 \n\t/\xC3\xA4\xFF";
    for (unsigned changes = random() % 3 + 1; changes > 0 && !text.empty(); --changes) {
        const std::size_t at = random() % text.size();
        const char mark =
            random() % 3 == 0 ? static_cast<char>(random()) : MARKS[random() % MARKS.size()];
        switch (random() % 5) {
        case 0:
            text[at] = mark;
            break;
        case 1:
            text.insert(at, 1, mark);
            break;
        case 2:
            text.erase(at, random() % 3 + 1);
            break;
        case 3:
            text.insert(at, text.substr(random() % text.size(), random() % 12));
            break;
        default:
            text[at] = static_cast<char>(text[at] ^ static_cast<char>(1U << random() % 8));
            break;
        }
    }
    return text;
}

double RandomReal(std::mt19937& random) {
    const std::uint64_t bits = std::uint64_t{random()} << 32U | random();
    const double some = std::bit_cast<double>(bits);
    switch (random() % 8) {
    case 0:
        return some; // of any size; now and then NaN or infinite
    case 1:
        return std::ldexp(static_cast<double>(random() % 100000), -static_cast<int>(random() % 20));
    case 2:
        return -std::ldexp(static_cast<double>(bits >> 16U), -static_cast<int>(random() % 50));
    case 3:
        return static_cast<double>(bits >> random() % 64);
    case 4:
        return std::round(std::fmod(some, 1e6)) / 100;
    case 5:
        return static_cast<double>(random() % 2000) / 1000;
    case 6:
        return std::ldexp(some, -2000); // denormal or zero of either sign
    default:
        return std::nextafter(static_cast<double>(random() % 1000000),
                              random() % 2 == 0 ? -1 : 1e9);
    }
}

Json::Value RandomValue(std::mt19937& random, int depth) {
    Json::Value value;
    switch (random() % (depth > 0 ? 11U : 7U)) {
    case 0:
        return random() % 2 == 0 ? Json::Value() : Json::Value(random() % 2 == 0);
    case 1:
        return static_cast<Json::Int64>(std::uint64_t{random()} << 32U | random());
    case 2:
        return static_cast<Json::UInt64>(std::uint64_t{random()} << 32U | random());
    case 3:
        return static_cast<Json::Int>(random()) >> random() % 32;
    case 4:
    case 5:
        return RandomReal(random);
    case 6:
        return random() % 9 == 0 ? Json::Value(Json::StaticString("static")) : RandomBytes(random);
    case 7:
    case 8:
        value = Json::Value(Json::arrayValue);
        for (unsigned i = random() % 5; i > 0; --i) {
            value.append(RandomValue(random, depth - 1));
        }
        if (random() % 16 == 0) {
            value[value.size() + static_cast<Json::ArrayIndex>(random() % 4)] = "behind a gap";
        }
        return value;
    default:
        value = Json::Value(Json::objectValue);
        for (unsigned i = random() % 5; i > 0; --i) {
            value[RandomBytes(random)] = RandomValue(random, depth - 1);
        }
        return value;
    }
}

} // namespace json_samples
