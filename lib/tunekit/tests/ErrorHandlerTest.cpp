#include <gtest/gtest.h>
#include "tunekit/ErrorHandler.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace tunekit {
namespace {

// HRESULTs are documented as unsigned hex; the API takes them as the signed 32-bit value.
constexpr std::int32_t hr(std::uint32_t code) { return static_cast<std::int32_t>(code); }

// Every message ends in the code as eight upper-case hex digits after one space; Windows' own
// texts, which end in CR/LF, become one clean line.
TEST(ErrorHandlerTest, MessagesAreOneCleanLineEndingInTheCodeAsEightUpperCaseDigits) {
    EXPECT_EQ(ErrorHandler::errorMessageFromHr(hr(0x80040209u)),
              "The operation cannot be performed because the pins are not connected. (0x80040209)");
    const qis::String partial = ErrorHandler::directShowText(hr(0x00040242u)); // VFW_S_PARTIAL_RENDER
    ASSERT_FALSE(partial.isEmpty());
    EXPECT_EQ(ErrorHandler::errorMessageFromHr(hr(0x00040242u)), partial + " (0x00040242)");
    EXPECT_TRUE(ErrorHandler::errorMessageFromHr(-1).endsWith(" (0xFFFFFFFF)"));
    EXPECT_TRUE(ErrorHandler::errorMessageFromHr(std::numeric_limits<std::int32_t>::min()).endsWith(" (0x80000000)"));
    const long eFail = -2147467259L; // HRESULT is a long on Windows
    EXPECT_TRUE(ErrorHandler::errorMessageFromHr(eFail).endsWith(" (0x80004005)"));
    EXPECT_TRUE(ErrorHandler::errorMessageFromHr(hr(0xDEADBEEFu)).endsWith(" (0xDEADBEEF)"));
#ifndef _WIN32
    EXPECT_EQ(ErrorHandler::errorMessageFromHr(hr(0xDEADBEEFu)), "Unknown error (0xDEADBEEF)");
    EXPECT_EQ(ErrorHandler::errorMessageFromHr(eFail), "Unspecified error (0x80004005)");
    EXPECT_EQ(ErrorHandler::errorMessageFromHr(0), "The operation completed successfully. (0x00000000)");
#endif
    for (const std::uint32_t code : {0x00000000u, 0x8007000Eu, 0x80070057u, 0x80004005u}) {
        const qis::String message = ErrorHandler::errorMessageFromHr(hr(code));
        const std::size_t suffix = message.find(" (0x");
        ASSERT_NE(suffix, qis::String::npos) << message;
        EXPECT_GT(suffix, 0u) << message;
        EXPECT_FALSE(message.startsWith("Unknown error") || message.contains("\r") || message.contains("\n")) << message;
        EXPECT_NE(message.substring(suffix - 1, 1), " ") << message;
    }
}

// The lookup is a binary search: the table must be ascending, every row a DirectShow code found by
// itself with a plain sentence, and no other code has DirectShow text.
TEST(ErrorHandlerTest, OnlyTheTablesAscendingDirectShowCodesHaveDirectShowTextEachAPlainSentence) {
    const auto rows = ErrorHandler::directShowTexts();
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(std::adjacent_find(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.code >= b.code; }),
              rows.end());
    for (const DirectShowErrorText& row : rows) {
        EXPECT_EQ(row.code & 0x7FFF0000u, 0x00040000u) << std::hex << row.code; // FACILITY_ITF
        EXPECT_EQ(ErrorHandler::directShowText(hr(row.code)), row.text) << std::hex << row.code;
        const qis::String text(row.text);
        EXPECT_TRUE(text == text.trimmed() && text.endsWith(".") && !text.contains("**") && !text.contains("<br") &&
                    !text.contains("]("))
            << text;
    }
    // VFW_S_DUPLICATE_NAME and VFW_E_DUPLICATE_NAME share the low word but mean opposite things.
    EXPECT_NE(ErrorHandler::directShowText(hr(0x0004022Du)), ErrorHandler::directShowText(hr(0x8004022Du)));
    EXPECT_FALSE(ErrorHandler::directShowText(hr(0x00040237u)).isEmpty()); // VFW_S_STATE_INTERMEDIATE
    for (const std::uint32_t code : {0x80040237u, 0x00000000u, 0x00040102u, 0x800401FFu, 0x800403F3u, 0xFFFFFFFFu,
                                     0x00000209u,   // VFW_E_NOT_CONNECTED's low word without facility
                                     0x80070490u,   // a Win32 code, not DirectShow's
                                     0x80004005u})
        EXPECT_TRUE(ErrorHandler::directShowText(hr(code)).isEmpty()) << std::hex << code;
}

} // namespace
} // namespace tunekit
