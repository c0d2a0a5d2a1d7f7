// The country dialog: offers the built-in countries (or only those the tuner supports) and
// returns the code of the one chosen.
#include <windows.h>

#include "frame/CountryDialog.h"

#include <algorithm>
#include <optional>

#include "frame/CountryTable.h"
#include "frame/Catalogue.h"
#include "frame/Trace.h"
#include "resources/resource.h"

namespace qisrtvcard {
namespace {

constexpr const wchar_t* kPreselectedCountry = L"USA";
constexpr const char* kStopLogLine = "Stopping for user cancel in country dialog";
constexpr const char* kPromptKind = "countryDialog";

constexpr UINT_PTR kStopPollTimer = 12403;
constexpr UINT kStopPollMs = 500;
// OK without a usable selection means the USA; hosts rely on this default.
constexpr INT_PTR kNoChoiceCode = 1;
constexpr INT_PTR kCancelledCode = 0;

// The countries the list shows, in the order it shows them: the table less what the tuner does
// not support, sorted as the list sorts its names.
std::vector<mirt5::PromptChoice> offeredCountries() {
    CountryTable table;
    buildCountryTable(table);
    const CountryCodeSet& supported = supportedCountryCodes();
    std::vector<mirt5::PromptChoice> offered;
    for (std::size_t i = 0; i < table.size(); ++i) {
        const CountryRecord& country = table.at(i);
        if (!supported.isEmpty() && !supported.contains(country.code)) continue;
        offered.push_back({static_cast<int>(country.code), country.name});
    }
    std::stable_sort(offered.begin(), offered.end(), [](const mirt5::PromptChoice& a, const mirt5::PromptChoice& b) {
        return CompareStringW(LOCALE_USER_DEFAULT, NORM_IGNORECASE, a.name.wide().c_str(), -1, b.name.wide().c_str(), -1) ==
               CSTR_LESS_THAN;
    });
    // The table ends here; the list keeps only names and codes.
    return offered;
}

std::optional<int> preselectedCode(const std::vector<mirt5::PromptChoice>& offered) {
    for (const auto& choice : offered)
        if (choice.name == qis::String(kPreselectedCountry)) return choice.code;
    return std::nullopt;
}

void fillList(HWND list) {
    for (const auto& country : offeredCountries()) {
        const std::wstring name = country.name.wide();
        const LRESULT index = SendMessageW(list, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(name.c_str()));
        // The list sorts itself, so the code goes to the index it reports; -1 would set every item.
        if (index >= 0) SendMessageW(list, CB_SETITEMDATA, static_cast<WPARAM>(index), static_cast<LPARAM>(country.code));
    }
}

// Taller items for touch screens; a factor of 1 or less keeps the list as it is.
void scaleItemHeight(HWND list) {
    const double factor = TouchscreenFactor->value().valueDouble();
    if (!(factor > 1.0)) return;
    const LRESULT height = SendMessageW(list, CB_GETITEMHEIGHT, 0, 0);
    if (height == CB_ERR) return;
    const int scaled = static_cast<int>(static_cast<double>(height) * factor);
    if (SendMessageW(list, CB_SETITEMHEIGHT, 0, static_cast<LPARAM>(scaled)) != CB_ERR) return;
    // Some combo boxes (Wine's) take a list item height only when owner-drawn; their list box
    // itself takes it, which is all the combo box would have done.
    COMBOBOXINFO info{};
    info.cbSize = sizeof info;
    if (GetComboBoxInfo(list, &info) && info.hwndList)
        SendMessageW(info.hwndList, LB_SETITEMHEIGHT, 0, static_cast<LPARAM>(scaled));
}

INT_PTR initDialog(HWND dialog) {
    HWND list = GetDlgItem(dialog, IDC_COUNTRY_LIST);
    fillList(list);
    SendMessageW(list, CB_SELECTSTRING, 0, reinterpret_cast<LPARAM>(kPreselectedCountry));
    scaleItemHeight(list);

    const std::wstring caption = PleaseSelectCountry->localizedString().wide();
    SetDlgItemTextW(dialog, IDC_COUNTRY_PROMPT, caption.c_str());
    SetDlgItemTextW(dialog, IDOK, OKButton->localizedString().wide().c_str());
    SetWindowTextW(dialog, caption.c_str());

    // A modal loop sees the framework's stop request only through this timer.
    SetTimer(dialog, kStopPollTimer, kStopPollMs, nullptr);
    SetWindowPos(dialog, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOSIZE | SWP_NOMOVE);
    return TRUE;
}

INT_PTR chosenCode(HWND dialog) {
    HWND list = GetDlgItem(dialog, IDC_COUNTRY_LIST);
    const LRESULT selected = SendMessageW(list, CB_GETCURSEL, 0, 0);
    if (selected == CB_ERR) return kNoChoiceCode;
    const LRESULT code = SendMessageW(list, CB_GETITEMDATA, static_cast<WPARAM>(selected), 0);
    return code == CB_ERR ? kNoChoiceCode : code;
}

void endDialog(HWND dialog, INT_PTR code) {
    KillTimer(dialog, kStopPollTimer);
    EndDialog(dialog, code);
}

INT_PTR CALLBACK countryDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM /*lParam*/) {
    switch (message) {
    case WM_INITDIALOG:
        return initDialog(dialog);
    case WM_COMMAND:
        switch (LOWORD(wParam)) {
        case IDOK:
            endDialog(dialog, chosenCode(dialog));
            break;
        case IDCANCEL:
            endDialog(dialog, kCancelledCode);
            break;
        default:
            break;
        }
        return TRUE;
    case WM_TIMER:
        if (mirt5::DiagModule::checkForStop()) {
            qis::LoggerStream line(__LINE__);
            line << kStopLogLine;
            moduleLogger()->log(qis::LogPriority::Debug, line);
            endDialog(dialog, kCancelledCode);
        }
        return TRUE;
    default:
        return FALSE;
    }
}

} // namespace

bool CountryCodeSet::add(std::uint32_t code) {
    if (contains(code)) return false;
    positions_.emplace(code, codes_.size());
    codes_.push_back(code);
    return true;
}

void CountryCodeSet::clear() {
    positions_.clear();
    codes_.clear();
}

CountryCodeSet& supportedCountryCodes() {
    static CountryCodeSet codes;
    return codes;
}

std::int32_t askForCountry() {
    QISRTV_TRACE("askForCountry");
    // An unattended run answers in advance rather than waiting for a person at the dialog.
    mirt5::Prompt prompt;
    prompt.kind = kPromptKind;
    prompt.title = PleaseSelectCountry->localizedString();
    prompt.text = prompt.title;
    prompt.choices = offeredCountries();
    prompt.preselected = preselectedCode(prompt.choices);
    if (const auto answer = mirt5::DiagModule::takeAnswer(prompt, static_cast<int>(kNoChoiceCode),
                                                          static_cast<int>(kCancelledCode)))
        return *answer;

    return mirt5::DiagModule::showOwnPrompt(prompt, [] {
        return static_cast<int>(DialogBoxParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDD_COUNTRY),
                                                GetConsoleWindow(), countryDialogProc, 0));
    });
}

} // namespace qisrtvcard
