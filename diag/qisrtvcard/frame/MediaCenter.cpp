#include <windows.h>
#include <tlhelp32.h>

#include <array>

#include "frame/Services.h"
#include "frame/Trace.h"
#include "qis/Exception.h"

namespace qisrtvcard {
namespace {

constexpr std::array<const char*, 2> kMediaCenterProcesses = {"ehshell.exe", "ehrec.exe"};

// Closes the snapshot on every path.
class Snapshot {
public:
    explicit Snapshot(HANDLE handle) : handle_(handle) {}
    ~Snapshot() {
        if (handle_ != INVALID_HANDLE_VALUE && handle_ != nullptr) CloseHandle(handle_);
    }
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;
    HANDLE get() const { return handle_; }

private:
    HANDLE handle_;
};

bool isMediaCenterProcess(const wchar_t* exeFile) {
    const qis::String name = qis::String(exeFile).toLower();
    for (const char* candidate : kMediaCenterProcesses)
        if (name == candidate) return true;
    return false;
}

} // namespace

bool isMediaCenterRunning() {
    QISRTV_TRACE("isMediaCenterRunning");
    // Toolhelp reports failure as INVALID_HANDLE_VALUE; treat a null handle the same way.
    HANDLE raw = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    const HANDLE snapshot = raw == INVALID_HANDLE_VALUE ? nullptr : raw;
    QISRTV_ASSERT(snapshot);
    Snapshot guard(snapshot);

    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    const bool b = Process32FirstW(snapshot, &entry) != FALSE;
    QISRTV_ASSERT(b);
    do {
        if (isMediaCenterProcess(entry.szExeFile)) return true;
    } while (Process32NextW(snapshot, &entry));
    return false;
}

} // namespace qisrtvcard
