#include "frame/Services.h"

#include <array>

#include "frame/Catalogue.h"
#include "frame/Trace.h"
#include "qis/Locale.h"

namespace qisrtvcard {
namespace {

struct LanguageCountry {
    const char* language;
    long country;
};

// Compared in this order, exactly. "zh-tw" gives Hong Kong's 852, as the tuner driver expects.
constexpr std::array<LanguageCountry, 23> kLanguageCountries = {{
    {"en", 1},    {"zh-cn", 86}, {"zh-tw", 852}, {"cs", 420}, {"da", 45}, {"nl", 31},  {"fi", 358}, {"fr", 33},
    {"de", 49},   {"el", 30},    {"hu", 36},     {"is", 354}, {"it", 39}, {"ja", 81},  {"ko", 82},  {"no", 47},
    {"pl", 48},   {"pt", 351},   {"ru", 7},      {"sk", 421}, {"es", 34}, {"sv", 46},  {"tr", 90},
}};
constexpr long kDefaultCountry = 1;

} // namespace

long languageCountryCode() {
    const qis::String language = qis::QISLocale::getGlobalLocale().getLanguage().toString();
    for (const auto& row : kLanguageCountries)
        if (language == row.language) return row.country;
    return kDefaultCountry;
}

HRESULT AddGraphToRot(IUnknown* /*graph*/, DWORD* /*cookie*/) {
    QISRTV_TRACE("AddGraphToRot");
    return S_OK;
}

void RemoveGraphFromRot(DWORD /*cookie*/) { QISRTV_TRACE("RemoveGraphFromRot"); }

void DeleteMediaType(AM_MEDIA_TYPE* mediaType) {
    if (!mediaType) return;
    if (mediaType->cbFormat != 0) {
        CoTaskMemFree(mediaType->pbFormat);
        mediaType->cbFormat = 0;
        mediaType->pbFormat = nullptr;
    }
    if (mediaType->pUnk) {
        mediaType->pUnk->Release();
        mediaType->pUnk = nullptr;
    }
    CoTaskMemFree(mediaType);
}

int RetryDigitalTestDlg() {
    QISRTV_TRACE("RetryDigitalTestDlg");
    if (!CheckTVCable->value().valueBool()) return RetryAnswerNoPrompt;
    switch (askUserToCheckCable()) {
    case mirt5::MessageBox::AnswerCancel: return RetryAnswerAborted;
    case mirt5::MessageBox::AnswerSkip: return RetryAnswerGiveUp;
    default: return RetryAnswerRetry;
    }
}

int askUserToCheckCable() {
    constexpr unsigned long kMillisecondsPerSecond = 1000;
    constexpr unsigned long kStopPollMilliseconds = 2000;
    return mirt5::DiagModule::createMessageBox(
        mirt5::MessageBox::TypeRetrySkipCancel, CheckCableConnectedMessage->localizedString(),
        CheckCableConnectedTitle->localizedString(), mirt5::MessageBox::OptionDefaultFirst, mirt5::MessageBox::LookWarning,
        nullptr, nullptr, nullptr, MsgBoxTimeout->value().valueUint32() * kMillisecondsPerSecond, kStopPollMilliseconds, true);
}

} // namespace qisrtvcard
