#include <gtest/gtest.h>
#include "tunekit/ErrorHandler.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace tunekit {
namespace {

// HRESULTs are documented as unsigned hex; the API takes them as the signed 32-bit value.
constexpr std::int32_t hr(std::uint32_t code) { return static_cast<std::int32_t>(code); }

TEST(ErrorHandlerTest, NotConnectedGivesDirectShowTextAndCode) {
    EXPECT_EQ(ErrorHandler::errorMessageFromHr(hr(0x80040209u)),
              "The operation cannot be performed because the pins are not connected. (0x80040209)");
}

TEST(ErrorHandlerTest, SuccessCodeIsFoundAndPaddedToEightDigits) {
    const qis::String text = ErrorHandler::directShowText(hr(0x00040242u)); // VFW_S_PARTIAL_RENDER
    ASSERT_FALSE(text.isEmpty());
    EXPECT_EQ(ErrorHandler::errorMessageFromHr(hr(0x00040242u)), text + " (0x00040242)");
}

TEST(ErrorHandlerTest, SeverityBitKeepsSuccessAndErrorApart) {
    // VFW_S_DUPLICATE_NAME and VFW_E_DUPLICATE_NAME share the low word but mean opposite things.
    const qis::String success = ErrorHandler::directShowText(hr(0x0004022Du));
    const qis::String failure = ErrorHandler::directShowText(hr(0x8004022Du));
    ASSERT_FALSE(success.isEmpty());
    ASSERT_FALSE(failure.isEmpty());
    EXPECT_NE(success, failure);
    // VFW_S_STATE_INTERMEDIATE exists; no error with that low word does.
    EXPECT_FALSE(ErrorHandler::directShowText(hr(0x00040237u)).isEmpty());
    EXPECT_TRUE(ErrorHandler::directShowText(hr(0x80040237u)).isEmpty());
}

TEST(ErrorHandlerTest, CodesOutsideTheTableHaveNoDirectShowText) {
    for (const std::uint32_t code : {0x00000000u, 0x00040102u, 0x800401FFu, 0x800403F3u, 0xFFFFFFFFu,
                                     0x00000209u,   // VFW_E_NOT_CONNECTED's low word without facility
                                     0x80070490u,   // E_PROP_ID_UNSUPPORTED: a Win32 code, not DirectShow's
                                     0x80004005u}) { // E_FAIL
        EXPECT_TRUE(ErrorHandler::directShowText(hr(code)).isEmpty()) << std::hex << code;
    }
}

TEST(ErrorHandlerTest, UnknownCodeSaysSoWithItsCode) {
    const qis::String message = ErrorHandler::errorMessageFromHr(hr(0xDEADBEEFu));
    EXPECT_TRUE(message.endsWith(" (0xDEADBEEF)")) << message;
#ifndef _WIN32
    EXPECT_EQ(message, "Unknown error (0xDEADBEEF)");
#endif
}

TEST(ErrorHandlerTest, RowsAreStrictlyAscendingWithoutDuplicates) {
    const auto rows = ErrorHandler::directShowTexts();
    ASSERT_FALSE(rows.empty());
    const auto bad = std::adjacent_find(rows.begin(), rows.end(),
                                        [](const auto& a, const auto& b) { return a.code >= b.code; });
    EXPECT_EQ(bad, rows.end()) << "row out of order or repeated at 0x" << std::hex << bad->code;
}

TEST(ErrorHandlerTest, EveryRowIsFoundByItsOwnCode) {
    // Exercises the search at both ends and everywhere between.
    for (const DirectShowErrorText& row : ErrorHandler::directShowTexts()) {
        EXPECT_EQ(ErrorHandler::directShowText(hr(row.code)), row.text) << std::hex << row.code;
    }
}

TEST(ErrorHandlerTest, EveryRowIsADirectShowCode) {
    // Severity bit aside, every VFW code is FACILITY_ITF (4) with the upper bits clear;
    // anything else is a mistyped literal.
    for (const DirectShowErrorText& row : ErrorHandler::directShowTexts()) {
        EXPECT_EQ(row.code & 0x7FFF0000u, 0x00040000u) << std::hex << row.code;
    }
}

TEST(ErrorHandlerTest, EveryRowHasAPlainSentence) {
    for (const DirectShowErrorText& row : ErrorHandler::directShowTexts()) {
        const qis::String text(row.text);
        ASSERT_FALSE(text.isEmpty()) << std::hex << row.code;
        EXPECT_EQ(text, text.trimmed()) << std::hex << row.code;
        EXPECT_TRUE(text.endsWith(".")) << text;
        // Leftovers from documentation markup.
        EXPECT_FALSE(text.contains("**") || text.contains("<br") || text.contains("](")) << text;
    }
}

TEST(ErrorHandlerTest, CommonSystemCodesHaveTextOnOneLine) {
    // Windows' texts end in CR/LF; the message must still be one clean line.
    for (const std::uint32_t code : {0x00000000u, 0x8007000Eu, 0x80070057u, 0x80004005u}) {
        const qis::String message = ErrorHandler::errorMessageFromHr(hr(code));
        const std::size_t suffix = message.find(" (0x");
        ASSERT_NE(suffix, qis::String::npos) << message;
        EXPECT_GT(suffix, 0u) << message;
        EXPECT_FALSE(message.startsWith("Unknown error")) << message;
        EXPECT_FALSE(message.contains("\r") || message.contains("\n")) << message;
        EXPECT_NE(message.substring(suffix - 1, 1), " ") << message;
    }
}

#ifndef _WIN32
TEST(ErrorHandlerTest, NativeBuildUsesFallbackTexts) {
    EXPECT_EQ(ErrorHandler::errorMessageFromHr(hr(0x80004005u)), "Unspecified error (0x80004005)");
    EXPECT_EQ(ErrorHandler::errorMessageFromHr(0), "The operation completed successfully. (0x00000000)");
}
#endif

TEST(ErrorHandlerTest, NegativeCodesPrintAsEightUpperCaseDigits) {
    EXPECT_TRUE(ErrorHandler::errorMessageFromHr(-1).endsWith(" (0xFFFFFFFF)"));
    EXPECT_TRUE(ErrorHandler::errorMessageFromHr(std::numeric_limits<std::int32_t>::min()).endsWith(" (0x80000000)"));
    EXPECT_TRUE(ErrorHandler::errorMessageFromHr(hr(0x8004020Au)).endsWith(" (0x8004020A)"));
}

TEST(ErrorHandlerTest, AcceptsAnHresultVariable) {
    // HRESULT is long on Windows; -2147467259 is E_FAIL.
    const long result = -2147467259L;
    EXPECT_TRUE(ErrorHandler::errorMessageFromHr(result).endsWith(" (0x80004005)"));
}

} // namespace
} // namespace tunekit
