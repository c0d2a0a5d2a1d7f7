// The country table, the dialog template, and the dialog as the user and a host see it.
#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Requirement.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <thread>

#include "ModuleTestSupport.h"
#include "frame/CountryDialog.h"
#include "frame/CountryTable.h"
#include "frame/Catalogue.h"
#include "resources/resource.h"

namespace qisrtvcard {
namespace {

using ::testing::Contains;
using ::testing::MatchesRegex;
using ::testing::UnorderedElementsAre;
using mirt5::TestResult;
using namespace std::chrono_literals;

const wchar_t* const kGermany = L"Germany (Deutschland)";

CountryTable builtTable() {
    CountryTable table;
    buildCountryTable(table);
    return table;
}

// ---- table ------------------------------------------------------------------------------------

// The first and last rows, and the rows whose oddities are deliberate; the dialog test checks
// every shown name's code.
TEST(CountryTable, HoldsEveryCountryWithUsaFirstAndKeepsTheDeliberateOddities) {
    const CountryTable table = builtTable();
    ASSERT_EQ(table.size(), 239u);
    EXPECT_EQ(table.at(0).name, "USA");
    EXPECT_EQ(table.at(0).key, "us");
    EXPECT_EQ(table.at(0).code, 1u);
    EXPECT_EQ(table.at(0).lcid, 1033u);
    EXPECT_EQ(table.at(238).name, "Zimbabwe");
    EXPECT_EQ(table.find("Atlantis"), nullptr);
    const auto row = [&](const wchar_t* name) {
        const CountryRecord* found = table.find(qis::String(name));
        EXPECT_NE(found, nullptr) << qis::String(name).utf8();
        return found ? *found : CountryRecord{};
    };
    EXPECT_EQ(row(L"Canada").code, 2u) << "the Windows code, not the calling code";
    // Key and code of each: the Korean keys are crossed, and "an" is used twice.
    const auto keyAndCode = [&](const wchar_t* name) { return row(name).key.utf8() + " " + std::to_string(row(name).code); };
    EXPECT_EQ(keyAndCode(L"Korea (North) (\uB300\uD55C\uBBFC\uAD6D)"), "kr 850");
    EXPECT_EQ(keyAndCode(L"Korea (South) (\uB300\uD55C\uBBFC\uAD6D)"), "kp 82");
    EXPECT_EQ(keyAndCode(L"French Antilles"), "an 590");
    EXPECT_EQ(keyAndCode(L"Netherlands Antilles"), "an 599");
    // The native names reach the table as UTF-8, not as the source file's bytes.
    EXPECT_EQ(row(L"India (\u0CAD\u0CBE\u0CB0\u0CA4)").name.utf8(), "India (\xE0\xB2\xAD\xE0\xB2\xBE\xE0\xB2\xB0\xE0\xB2\xA4)");
    EXPECT_EQ(row(L"M\u00E9xico").code, 52u);
}

std::wstring caption() { return PleaseSelectCountry->localizedString().wide(); }

// ---- the dialog on the screen -----------------------------------------------------------------

using testing::haveDisplay;

bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

HWND listOf(HWND dialog) { return GetDlgItem(dialog, IDC_COUNTRY_LIST); }

std::wstring itemText(HWND list, LRESULT index) {
    const LRESULT length = SendMessageW(list, CB_GETLBTEXTLEN, static_cast<WPARAM>(index), 0);
    if (length == CB_ERR) return L"<none>";
    std::wstring text(static_cast<std::size_t>(length) + 1, L'\0');
    SendMessageW(list, CB_GETLBTEXT, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::vector<std::wstring> items(HWND list) {
    std::vector<std::wstring> texts;
    const LRESULT count = SendMessageW(list, CB_GETCOUNT, 0, 0);
    for (LRESULT i = 0; i < count; ++i) texts.push_back(itemText(list, i));
    return texts;
}

std::wstring windowText(HWND window) {
    wchar_t text[256] = {};
    GetWindowTextW(window, text, 256);
    return text;
}

// The height the list gives its items by itself: that of its font.
int fontHeight(HWND list) {
    HDC dc = GetDC(list);
    const HGDIOBJ old = SelectObject(dc, reinterpret_cast<HGDIOBJ>(SendMessageW(list, WM_GETFONT, 0, 0)));
    TEXTMETRICW metrics{};
    GetTextMetricsW(dc, &metrics);
    SelectObject(dc, old);
    ReleaseDC(list, dc);
    return metrics.tmHeight;
}

int itemHeight(HWND list) { return static_cast<int>(SendMessageW(list, CB_GETITEMHEIGHT, 0, 0)); }

void press(HWND dialog, int button) { SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED), 0); }

class CountryDialogShown : public ::testing::Test {
protected:
    static void SetUpTestSuite() { testing::initialiseCatalogue(); }
    void SetUp() override {
        QIS_REQUIRE(haveDisplay(), "a display (run under xvfb-run)");
        supportedCountryCodes().clear();
    }
    void TearDown() override {
        supportedCountryCodes().clear();
        qis::LogFactory::setPriority(qis::LogPriority::Info);
    }

    // Asks for the country in a run of `probe` while a second thread plays the user: it waits
    // until the dialog is up and acts on it. A dialog the action leaves open is cancelled, so a
    // failed check cannot hang the run.
    static std::int32_t ask(testing::Probe& probe, const std::function<void(HWND dialog)>& act) {
        std::atomic<bool> asking{true};
        std::thread user([&] {
            HWND dialog = nullptr;
            const bool shown = waitFor(
                [&] {
                    dialog = FindWindowW(L"#32770", caption().c_str());
                    return !asking || (dialog && IsWindowVisible(dialog));
                },
                20s);
            if (!asking) return;
            if (!shown) {
                ADD_FAILURE() << "no dialog with the caption appeared";
                if (HWND any = FindWindowW(L"#32770", nullptr)) press(any, IDCANCEL);
                return;
            }
            act(dialog);
            if (!waitFor([&] { return !IsWindowVisible(dialog); }, 5s)) {
                ADD_FAILURE() << "the dialog stayed open";
                press(dialog, IDCANCEL);
            }
        });
        std::int32_t code = -2;
        probe.run([&](const mirt5::DiagDevice&) {
            code = askForCountry();
            return TestResult::PASS();
        });
        asking = false;
        user.join();
        return code;
    }
    static std::int32_t ask(const std::function<void(HWND dialog)>& act, const std::map<std::string, std::string>& parameters = {}) {
        testing::Probe probe;
        probe.parameters = parameters;
        return ask(probe, act);
    }
};

TEST_F(CountryDialogShown, OffersEveryCountrySortedWithTheUsaPreselectedAndOkUntouchedGivesIt) {
    const CountryTable table = builtTable();
    const std::int32_t code = ask([&](HWND dialog) {
        HWND list = listOf(dialog);
        const std::vector<std::wstring> shown = items(list);
        EXPECT_EQ(shown.size(), 239u);
        for (std::size_t i = 1; i < shown.size(); ++i)
            EXPECT_LE(CompareStringW(LOCALE_USER_DEFAULT, NORM_IGNORECASE, shown[i - 1].c_str(), -1, shown[i].c_str(), -1),
                      CSTR_EQUAL)
                << "items " << i - 1 << " and " << i << " are out of order";
        // Each item keeps its own code although the list reorders them.
        for (std::size_t i = 0; i < shown.size(); ++i) {
            const CountryRecord* row = table.find(qis::String(shown[i]));
            ASSERT_NE(row, nullptr) << qis::String(shown[i]).utf8();
            EXPECT_EQ(SendMessageW(list, CB_GETITEMDATA, i, 0), static_cast<LRESULT>(row->code)) << row->name.utf8();
        }
        EXPECT_EQ(itemText(list, SendMessageW(list, CB_GETCURSEL, 0, 0)), L"USA");

        EXPECT_EQ(windowText(dialog), caption());
        EXPECT_EQ(windowText(GetDlgItem(dialog, IDC_COUNTRY_PROMPT)), caption());
        EXPECT_EQ(windowText(GetDlgItem(dialog, IDOK)), OKButton->localizedString().wide());
        EXPECT_TRUE(GetWindowLongW(dialog, GWL_EXSTYLE) & WS_EX_TOPMOST);
        RECT client{};
        GetClientRect(dialog, &client);
        RECT expected{0, 0, 261, 66};
        MapDialogRect(dialog, &expected);
        EXPECT_EQ(client.right, expected.right);
        EXPECT_EQ(client.bottom, expected.bottom);

        press(dialog, IDOK);
    });
    EXPECT_EQ(code, 1);
}

TEST_F(CountryDialogShown, TouchscreenFactorAboveOneScalesTheListItemsAChosenCountryGivesItsCodeAndCancelZero) {
    int naturalHeight = 0;
    const std::int32_t unmatched = ask(
        [&](HWND dialog) {
            HWND list = listOf(dialog);
            naturalHeight = fontHeight(list);
            EXPECT_EQ(itemHeight(list), naturalHeight) << "a factor below 1 changes nothing";
            // Typing a name that is no item leaves no selection: OK then means the USA.
            COMBOBOXINFO info{};
            info.cbSize = sizeof info;
            ASSERT_TRUE(GetComboBoxInfo(list, &info));
            SendMessageW(info.hwndItem, EM_SETSEL, 0, -1);
            for (const wchar_t* c = L"Atlantis"; *c; ++c) SendMessageW(info.hwndItem, WM_CHAR, *c, 0);
            EXPECT_EQ(windowText(info.hwndItem), L"Atlantis");
            EXPECT_EQ(SendMessageW(list, CB_GETCURSEL, 0, 0), CB_ERR);
            press(dialog, IDOK);
        },
        {{"TouchscreenFactor", "0.5"}});
    EXPECT_EQ(unmatched, 1);

    const std::int32_t chosen = ask(
        [&](HWND dialog) {
            HWND list = listOf(dialog);
            EXPECT_EQ(itemHeight(list), static_cast<int>(naturalHeight * 1.5));
            EXPECT_NE(SendMessageW(list, CB_SELECTSTRING, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(kGermany)), CB_ERR);
            press(dialog, IDOK);
        },
        {{"TouchscreenFactor", "1.5"}});
    EXPECT_EQ(chosen, 49);
    EXPECT_EQ(ask([](HWND dialog) { press(dialog, IDCANCEL); }), 0) << "cancel gives zero";
}

TEST_F(CountryDialogShown, AStopRequestClosesItWithinHalfASecondAndGivesZero) {
    qis::LogFactory::setPriority(qis::LogPriority::Debug);
    testing::Probe probe;
    std::chrono::steady_clock::duration closedAfter{};
    const std::int32_t code = ask(probe, [&](HWND dialog) {
        const auto requested = std::chrono::steady_clock::now();
        mirt5::DiagModule::requestStop();
        waitFor([&] { return !IsWindowVisible(dialog); }, 5s);
        closedAfter = std::chrono::steady_clock::now() - requested;
    });
    EXPECT_EQ(code, 0);
    EXPECT_LT(closedAfter, 1200ms) << "the dialog looks every 500 ms";
    EXPECT_THAT(probe.logLines("qisrtvcard"), Contains(MatchesRegex("\\d+ Stopping for user cancel in country dialog")));
}

TEST_F(CountryDialogShown, SupportedCodesLimitTheListAndWithoutTheUsaNothingIsPreselected) {
    for (std::uint32_t code : {49u, 44u, 7u, 9999u}) supportedCountryCodes().add(code);
    const std::int32_t code = ask([](HWND dialog) {
        HWND list = listOf(dialog);
        const std::vector<std::wstring> shown = items(list);
        EXPECT_THAT(shown, UnorderedElementsAre(kGermany, L"United Kingdom", L"Russia (\u0420\u043E\u0441\u0441\u0438\u044F)",
                                                L"Kazakhstan (\u049A\u0430\u0437\u0430\u049B\u0441\u0442\u0430\u043D)",
                                                L"Kyrgyzstan (\u041A\u044B\u0440\u0433\u044B\u0437\u0441\u0442\u0430\u043D)",
                                                L"Tajikistan (\u0422\u043E\u04B7\u0438\u043A\u0438\u0441\u0442\u043E\u043D)",
                                                L"Turkmenistan (T\u00FCrkmenistan)",
                                                L"Uzbekistan (\u040E\u0437\u0431\u0435\u043A\u0438\u0441\u0442\u043E\u043D)"));
        EXPECT_EQ(SendMessageW(list, CB_GETCURSEL, 0, 0), CB_ERR);
        press(dialog, IDOK);
    });
    EXPECT_EQ(code, 1) << "OK without a choice still means the USA";
}

} // namespace
} // namespace qisrtvcard
