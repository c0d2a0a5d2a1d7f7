// The module's frame as the user and a host see it: the country dialog (the countries with their
// codes, the template and the answers), the Media Center guard, tracing and the entry.
#include <windows.h>

#include <process.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <sstream>
#include <thread>

#include "ModuleTestSupport.h"
#include "frame/Catalogue.h"
#include "frame/CountryDialog.h"
#include "frame/CountryTable.h"
#include "frame/Entry.h"
#include "frame/GraphServices.h"
#include "frame/MediaCenter.h"
#include "frame/TestEntries.h"
#include "qis/ErrorStream.h"
#include "qis/Exception.h"
#include "qis/System.h"
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

std::wstring caption() { return PleaseSelectCountry->localizedString().wide(); }

// ---- the dialog on the screen -----------------------------------------------------------------

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

// Asks for the country in a run of `probe` while a second thread plays the user.
std::int32_t ask(testing::Probe& probe, const std::function<void(HWND dialog)>& act) {
    const testing::UserAtScreen user(caption(), act);
    std::int32_t code = -2;
    probe.run([&](const mirt5::DiagDevice&) {
        code = askForCountry();
        return TestResult::PASS();
    });
    return code;
}

using CountryDialogShown = testing::ModuleRun;

TEST_F(CountryDialogShown, TheUserSeesEveryCountryOrTheSupportedOnesAndTheChoiceGivesTheCode) {
    const CountryTable table = builtTable();
    int naturalHeight = 0;
    const struct {
        const char* what;
        testing::Parameters parameters;
        std::vector<std::uint32_t> supported;
        std::function<void(HWND dialog)> act;
        std::int32_t code;
    } rows[] = {
        {"every country sorted with the USA preselected, and OK untouched gives it", {}, {}, [&](HWND dialog) {
             HWND list = listOf(dialog);
             const std::vector<std::wstring> shown = items(list);
             EXPECT_EQ(shown.size(), 239u);
             for (std::size_t i = 1; i < shown.size(); ++i)
                 EXPECT_LE(CompareStringW(LOCALE_USER_DEFAULT, NORM_IGNORECASE, shown[i - 1].c_str(), -1, shown[i].c_str(), -1), CSTR_EQUAL)
                     << "items " << i - 1 << " and " << i << " are out of order";
             // Each item keeps its own code although the list reorders them.
             for (std::size_t i = 0; i < shown.size(); ++i) {
                 const CountryRecord* row = table.find(qis::String(shown[i]));
                 ASSERT_NE(row, nullptr) << qis::String(shown[i]).utf8();
                 EXPECT_EQ(SendMessageW(list, CB_GETITEMDATA, i, 0), static_cast<LRESULT>(row->code)) << row->name.utf8();
             }
             EXPECT_EQ(itemText(list, SendMessageW(list, CB_GETCURSEL, 0, 0)), L"USA");
             // Windows' codes, not calling codes; native names as the user's language writes them.
             for (const auto& [name, code] : {std::pair{L"USA", 1}, {L"Canada", 2}, {L"Korea (North) (\uB300\uD55C\uBBFC\uAD6D)", 850},
                                              {L"Korea (South) (\uB300\uD55C\uBBFC\uAD6D)", 82}, {L"French Antilles", 590},
                                              {L"Netherlands Antilles", 599}, {L"M\u00E9xico", 52}, {L"India (\u0CAD\u0CBE\u0CB0\u0CA4)", 91}}) {
                 const LRESULT at = SendMessageW(list, CB_FINDSTRINGEXACT, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(name));
                 EXPECT_EQ(at == CB_ERR ? -1 : SendMessageW(list, CB_GETITEMDATA, at, 0), code) << qis::String(name).utf8();
             }
             EXPECT_EQ(windowText(dialog), caption());
             EXPECT_EQ(windowText(GetDlgItem(dialog, IDC_COUNTRY_PROMPT)), caption());
             EXPECT_EQ(windowText(GetDlgItem(dialog, IDOK)), OKButton->localizedString().wide());
             EXPECT_TRUE(GetWindowLongW(dialog, GWL_EXSTYLE) & WS_EX_TOPMOST);
             RECT client{}, expected{0, 0, 261, 66};
             GetClientRect(dialog, &client);
             MapDialogRect(dialog, &expected);
             EXPECT_EQ(client.right, expected.right);
             EXPECT_EQ(client.bottom, expected.bottom);
             press(dialog, IDOK);
         }, 1},
        // Typing a name that is no item leaves no selection: OK then means the USA.
        {"a touchscreen factor below 1 changes nothing, and a typed name that is no country gives the USA", {{"TouchscreenFactor", "0.5"}}, {},
         [&](HWND dialog) {
             HWND list = listOf(dialog);
             naturalHeight = fontHeight(list);
             EXPECT_EQ(itemHeight(list), naturalHeight);
             COMBOBOXINFO info{};
             info.cbSize = sizeof info;
             ASSERT_TRUE(GetComboBoxInfo(list, &info));
             SendMessageW(info.hwndItem, EM_SETSEL, 0, -1);
             for (const wchar_t* c = L"Atlantis"; *c; ++c) SendMessageW(info.hwndItem, WM_CHAR, *c, 0);
             EXPECT_EQ(windowText(info.hwndItem), L"Atlantis");
             EXPECT_EQ(SendMessageW(list, CB_GETCURSEL, 0, 0), CB_ERR);
             press(dialog, IDOK);
         }, 1},
        {"a factor above 1 scales the list items, and a chosen country gives its code", {{"TouchscreenFactor", "1.5"}}, {}, [&](HWND dialog) {
             HWND list = listOf(dialog);
             EXPECT_EQ(itemHeight(list), static_cast<int>(naturalHeight * 1.5));
             EXPECT_NE(SendMessageW(list, CB_SELECTSTRING, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(kGermany)), CB_ERR);
             press(dialog, IDOK);
         }, 49},
        {"cancel gives zero", {}, {}, [](HWND dialog) { press(dialog, IDCANCEL); }, 0},
        {"supported codes limit the list, and without the USA nothing is preselected; OK without a choice still means the USA", {},
         {49u, 44u, 7u, 9999u}, [](HWND dialog) {
             HWND list = listOf(dialog);
             EXPECT_THAT(items(list), UnorderedElementsAre(kGermany, L"United Kingdom", L"Russia (\u0420\u043E\u0441\u0441\u0438\u044F)",
                                                           L"Kazakhstan (\u049A\u0430\u0437\u0430\u049B\u0441\u0442\u0430\u043D)",
                                                           L"Kyrgyzstan (\u041A\u044B\u0440\u0433\u044B\u0437\u0441\u0442\u0430\u043D)",
                                                           L"Tajikistan (\u0422\u043E\u04B7\u0438\u043A\u0438\u0441\u0442\u043E\u043D)",
                                                           L"Turkmenistan (T\u00FCrkmenistan)",
                                                           L"Uzbekistan (\u040E\u0437\u0431\u0435\u043A\u0438\u0441\u0442\u043E\u043D)"));
             EXPECT_EQ(SendMessageW(list, CB_GETCURSEL, 0, 0), CB_ERR);
             press(dialog, IDOK);
         }, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        supportedCountryCodes().clear();
        for (std::uint32_t code : row.supported) supportedCountryCodes().add(code);
        testing::Probe probe;
        probe.parameters = row.parameters;
        EXPECT_EQ(ask(probe, row.act), row.code);
    }
}

TEST_F(CountryDialogShown, AStopRequestClosesItWithinHalfASecondAndGivesZero) {
    qis::LogFactory::setPriority(qis::LogPriority::Debug);
    testing::Probe probe;
    std::chrono::steady_clock::duration closedAfter{};
    const std::int32_t code = ask(probe, [&](HWND dialog) {
        const auto requested = std::chrono::steady_clock::now();
        mirt5::DiagModule::requestStop();
        while (IsWindowVisible(dialog) && std::chrono::steady_clock::now() - requested < 5s) std::this_thread::sleep_for(10ms);
        closedAfter = std::chrono::steady_clock::now() - requested;
    });
    EXPECT_EQ(code, 0);
    EXPECT_LT(closedAfter, 1200ms) << "the dialog looks every 500 ms";
    EXPECT_THAT(probe.logLines("qisrtvcard"), Contains(MatchesRegex("\\d+ Stopping for user cancel in country dialog")));
}

// ---- Media Center guard --------------------------------------------------------------------

// Media Center is seen by its process names whatever their case, on the real process list: a
// copy of the idle helper runs under each name.
TEST(MediaCenterGuard, SeesMediaCenterProcessesWhateverTheirCase) {
    EXPECT_FALSE(isMediaCenterRunning());
    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    const auto directory = std::filesystem::temp_directory_path() / L"qisrtvcard-mediacenter";
    std::filesystem::create_directories(directory);
    for (const auto& [name, mediaCenter] : {std::pair{L"EHSHELL.EXE", true}, std::pair{L"ehrec.exe", true}, std::pair{L"ehshell2.exe", false}}) {
        const auto path = directory / name;
        std::filesystem::copy_file(std::filesystem::path(self).parent_path() / L"idle_process.exe", path,
                                   std::filesystem::copy_options::overwrite_existing);
        const auto process = reinterpret_cast<HANDLE>(_wspawnl(_P_NOWAIT, path.c_str(), path.c_str(), L"60", nullptr));
        ASSERT_NE(process, INVALID_HANDLE_VALUE);
        EXPECT_EQ(isMediaCenterRunning(), mediaCenter) << qis::String(name).utf8();
        TerminateProcess(process, 0);
        WaitForSingleObject(process, 5000);
        CloseHandle(process);
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
}

// ---- tracing ---------------------------------------------------------------------------------

// The running-object-table hook publishes nothing; its scope is traced below info priority.
TEST(TracingConvention, ScopesAreLoggedOnlyBelowInfoPriority) {
    std::vector<qis::LogRecord> records;
    const int sink = qis::LogFactory::addSink([&](const qis::LogRecord& r) { records.push_back(r); });
    const int previous = qis::LogFactory::getPriority();
    DWORD cookie = 0xC0FFEE;

    qis::LogFactory::setPriority(qis::LogPriority::Info);
    EXPECT_EQ(AddGraphToRot(nullptr, &cookie), S_OK);
    EXPECT_EQ(cookie, 0xC0FFEEu) << "the cookie is left alone";
    EXPECT_TRUE(records.empty());

    qis::LogFactory::setPriority(qis::LogPriority::Trace);
    AddGraphToRot(nullptr, &cookie);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].category, "qisrtvcard");
    EXPECT_TRUE(records[0].text.startsWith("Entering AddGraphToRot (qisrtvcard:")) << records[0].text;
    EXPECT_EQ(records[1].text, "Leaving AddGraphToRot");

    qis::LogFactory::setPriority(previous);
    qis::LogFactory::removeSink(sink);
}

// ---- the entry -------------------------------------------------------------------------------

TEST(ModuleEntry, FoundationExceptionEscapingTheFrameworkEndsAbnormallyWithOneLine) {
    testing::initialiseCatalogue();
    mirt5::DiagModule::createTest("ThrowingProbe", mirt5::DeviceCapability(),
                                  [](const mirt5::DiagDevice&) -> mirt5::TestResult { throw qis::Exception("injected failure"); });
    std::string device = testing::writeTempFile("probe-device.json", R"({"name": "Probe"})").string();
    char program[] = "qisrtvcard", test[] = "--test", name[] = "ThrowingProbe", deviceOption[] = "--device";
    char* argv[] = {program, test, name, deviceOption, device.data(), nullptr};
    std::ostringstream errors;
    std::ostream* previous = qis::cerr.setTarget(&errors);
    const int code = moduleMain(5, argv);
    qis::cerr.setTarget(previous);
    EXPECT_EQ(code, mirt5::TestResult::EXITEDABNORMALLY().value());
    EXPECT_EQ(errors.str(), "exception caught: injected failure\n");
}

// The five entries that need a capture device refuse any other under the one text hosts match on,
// before they touch COM or the card.
TEST(TestEntries, ADeviceWithoutVideoCaptureIsRefusedWithTheCapabilityCheckAsItsText) {
    const mirt5::DiagDevice tunerOnly("Tuner only", "", mirt5::DeviceCapability::DigitalTVTuner(), {});
    using Entry = mirt5::TestResult (*)(const mirt5::DiagDevice&);
    for (const Entry entry : {AnalogTVSignalTest, FMRadioSignalTest, CaptureToScreenTest, CaptureToFileTest, DigitalTVSignalTest})
        EXPECT_EQ(testing::assertionOf([&] { entry(tunerOnly); }), "device.intersectCapability(DeviceCapability::VideoCapture())");
}

} // namespace
} // namespace qisrtvcard
