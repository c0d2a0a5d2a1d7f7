// HKCR\CLSID\{card}: default value the friendly name, InprocServer32 this DLL (both threading
// models, as DirectShow filters are called from the graph's threads), "Scenario" the scenario.
#include "Registry.h"

#include <windows.h>

#include <vector>

#include "Module.h"
#include "tvsim/MediaType.h"

namespace qisvcard {
namespace {

constexpr wchar_t kScenarioValue[] = L"Scenario";
constexpr wchar_t kServerKey[] = L"InprocServer32";
constexpr wchar_t kThreadingModel[] = L"ThreadingModel";
constexpr wchar_t kBoth[] = L"Both";

std::wstring classKeyPath() { return L"CLSID\\" + tvsim::guidText(kCardClsid).wide(); }

class Key {
public:
    ~Key() {
        if (key_) RegCloseKey(key_);
    }
    LONG create(HKEY parent, const std::wstring& path) {
        return RegCreateKeyExW(parent, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key_, nullptr);
    }
    LONG setText(const wchar_t* name, const std::wstring& value) {
        const auto bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
        return RegSetValueExW(key_, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()), bytes);
    }
    HKEY get() const { return key_; }

private:
    HKEY key_ = nullptr;
};

std::wstring modulePath() {
    std::vector<wchar_t> path(MAX_PATH);
    for (;;) {
        const DWORD length = GetModuleFileNameW(moduleHandle(), path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) return std::wstring(path.data(), length);
        path.resize(path.size() * 2);
    }
}

} // namespace

long writeClassKey(const qis::String& friendlyName, const qis::String& scenario) {
    Key classKey;
    LONG status = classKey.create(HKEY_CLASSES_ROOT, classKeyPath());
    if (status == ERROR_SUCCESS) status = classKey.setText(nullptr, friendlyName.wide());
    if (status == ERROR_SUCCESS) status = classKey.setText(kScenarioValue, scenario.wide());
    Key server;
    if (status == ERROR_SUCCESS) status = server.create(classKey.get(), kServerKey);
    if (status == ERROR_SUCCESS) status = server.setText(nullptr, modulePath());
    if (status == ERROR_SUCCESS) status = server.setText(kThreadingModel, kBoth);
    return status == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(status);
}

void removeClassKey() { RegDeleteTreeW(HKEY_CLASSES_ROOT, classKeyPath().c_str()); RegDeleteKeyW(HKEY_CLASSES_ROOT, classKeyPath().c_str()); }

qis::String registeredScenario() {
    std::vector<wchar_t> value(32768);
    DWORD bytes = static_cast<DWORD>(value.size() * sizeof(wchar_t));
    const LONG status = RegGetValueW(HKEY_CLASSES_ROOT, classKeyPath().c_str(), kScenarioValue, RRF_RT_REG_SZ, nullptr,
                                     value.data(), &bytes);
    return status == ERROR_SUCCESS ? qis::String(value.data()) : qis::String();
}

} // namespace qisvcard
