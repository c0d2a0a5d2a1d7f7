#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qis/String.h"
#include "qis/Value.h"

using qis::String;

// Expected texts use \u escapes, so they do not depend on the compiler's source character set.
static String fromU8(std::u8string_view text) { return String(std::string(text.begin(), text.end())); }

TEST(StringEncoding, Utf8Ucs2AndWideRoundTripGermanChineseAndNonBmp) {
    struct Case { std::u8string_view utf8; std::u16string_view ucs2; std::wstring_view wide; };
    const Case cases[] = {
        {u8"Gr\u00F6\u00DFe l\u00E4uft", u"Gr\u00F6\u00DFe l\u00E4uft", L"Gr\u00F6\u00DFe l\u00E4uft"},
        {u8"\u9891\u9053\u626B\u63CF", u"\u9891\u9053\u626B\u63CF", L"\u9891\u9053\u626B\u63CF"},
        {u8"TV \U0001F4FA!", u"TV \U0001F4FA!", L"TV \U0001F4FA!"},
    };
    for (const Case& c : cases) {
        const String text = fromU8(c.utf8);
        EXPECT_EQ(text.ucs2(), c.ucs2);
        EXPECT_EQ(String(c.ucs2), text);
        EXPECT_EQ(text.wide(), c.wide);
        EXPECT_EQ(String(c.wide), text);
    }
    // One code point: four UTF-8 bytes, a surrogate pair in UCS-2.
    EXPECT_EQ(String("\xF0\x9F\x93\xBA").ucs2(), u"\xD83D\xDCFA");
}

TEST(StringEncoding, MalformedInputBecomesReplacementCharacters) {
    EXPECT_EQ(String("A\xE9\xA2").ucs2(), u"A\uFFFD\uFFFD"); // truncated at the very end
    EXPECT_EQ(String("\xC0\xAF").ucs2(), u"\uFFFD");         // overlong '/'
    EXPECT_EQ(String(u"\xD800x").utf8(), "\xEF\xBF\xBDx");    // lone surrogate
}

TEST(StringText, FindSubstringSplitAndTrimStayInsideTheText) {
    const String name("ehshell.exe");
    EXPECT_EQ(name.find("e", 1), 4u);
    EXPECT_EQ(name.find("tuner"), String::npos);
    EXPECT_EQ(name.substring(8, 100), "exe");
    EXPECT_TRUE(name.substring(11).isEmpty());
    EXPECT_TRUE(name.substring(500, 3).isEmpty());
    EXPECT_EQ(String("a,,b,").split(","), (std::vector<String>{"a", "", "b", ""}));
    EXPECT_EQ(String("88.0--96.5").split("--"), (std::vector<String>{"88.0", "96.5"}));
    EXPECT_EQ(String("a,b").split(""), std::vector<String>{"a,b"});
    EXPECT_EQ(String(" \t tuner 1\r\n").trimmed(), "tuner 1");
    EXPECT_TRUE(String(" \t\r\n").trimmed().isEmpty());
}

TEST(StringCase, MapsAndComparesAsciiLettersOnly) {
    EXPECT_EQ(String("EHSHELL.EXE").toLower(), "ehshell.exe");
    EXPECT_EQ(fromU8(u8"gr\u00F6\u00DFe").toUpper(), fromU8(u8"GR\u00F6\u00DFE"));
    EXPECT_LT(String("abc").compare("abd"), 0);
    EXPECT_EQ(String("abc").compare("abc"), 0);
    EXPECT_GT(String("alpha").compare("Beta"), 0);
    EXPECT_LT(String("alpha").compareIgnoreCase("Beta"), 0);
    EXPECT_EQ(String("EHSHELL.EXE").compareIgnoreCase("ehshell.exe"), 0);
    EXPECT_FALSE(fromU8(u8"\u00C4").equalsIgnoreCase(fromU8(u8"\u00E4")));
}

TEST(StringConversion, IntegersAcceptTheirWholeRangeAndNothingElse) {
    std::uint32_t value = 7;
    EXPECT_TRUE(String("0").toUint32(value));
    EXPECT_EQ(value, 0u);
    EXPECT_TRUE(String("4294967295").toUint32(value));
    for (const char* bad : {"", "abc", "-1", "+1", " 1", "1 ", "4294967296", "1.0", "0x10"})
        EXPECT_FALSE(String(bad).toUint32(value)) << '"' << bad << '"';
    EXPECT_EQ(value, 4294967295u); // failures leave the output alone

    std::int32_t signedValue = 0;
    EXPECT_TRUE(String("-2147483648").toInt32(signedValue));
    EXPECT_EQ(signedValue, INT32_MIN);
    for (const char* bad : {"", "2147483648", "-2147483649", "+1", " -1", "1e3"})
        EXPECT_FALSE(String(bad).toInt32(signedValue)) << '"' << bad << '"';
}

TEST(StringConversion, DoubleAcceptsFiniteDecimalsOnly) {
    const std::pair<const char*, double> good[] = {{"88.0", 88.0}, {"-1.5", -1.5}, {"1e3", 1000.0}, {".5", 0.5}};
    for (const auto& [text, expected] : good) {
        double value = 0;
        EXPECT_TRUE(String(text).toDouble(value)) << text;
        EXPECT_EQ(value, expected) << text;
    }
    double value = 42;
    for (const char* bad : {"1.2.3", "nan", "-nan", "inf", "-inf", "", "abc", "1e999", "-1e999", " 1", "1e"})
        EXPECT_FALSE(String(bad).toDouble(value)) << '"' << bad << '"';
    EXPECT_EQ(value, 42);
}

TEST(StringConversion, NumberWritesIntegersInFullAndDoublesInShortestForm) {
    EXPECT_EQ(String::number(-42), "-42");
    EXPECT_EQ(String::number(18446744073709551615ull), "18446744073709551615");
    EXPECT_EQ(String::number(88.0), "88");
    EXPECT_EQ(String::number(0.1), "0.1");
    double back = 0;
    ASSERT_TRUE(String::number(0.1 + 0.2).toDouble(back));
    EXPECT_EQ(back, 0.1 + 0.2);
}

TEST(ValueText, RendersEachKindTheWayLogLinesShowIt) {
    EXPECT_EQ(qis::QISValue(-2147024809).toString(), "-2147024809");
    EXPECT_EQ(qis::QISValue(4294967295u).toString(), "4294967295");
    EXPECT_EQ(qis::QISValue(true).toString(), "true");
    EXPECT_EQ(qis::QISValue(-1.5).toString(), "-1.5");
    EXPECT_EQ(qis::QISValue("ehshell.exe").toString(), "ehshell.exe");
    EXPECT_TRUE(qis::QISValue().toString().isEmpty());
}
