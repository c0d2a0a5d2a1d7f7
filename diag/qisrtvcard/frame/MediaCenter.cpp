#include <windows.h>
#include <tlhelp32.h>

#include <array>

#include "frame/MediaCenter.h"
#include "frame/Toolhelp.h"
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
        if (handle_ != INVALID_HANDLE_VALUE && handle_ != nullptr) toolhelp().closeHandle(handle_);
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
    const ToolhelpApi& api = toolhelp();
    HANDLE raw = api.createSnapshot(TH32CS_SNAPPROCESS, 0);
    const HANDLE snapshot = raw == INVALID_HANDLE_VALUE ? nullptr : raw;
    QISRTV_ASSERT(snapshot, "snapshot");
    Snapshot guard(snapshot);

    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    const bool b = api.processFirst(snapshot, &entry) != FALSE;
    QISRTV_ASSERT(b, "b");
    do {
        if (isMediaCenterProcess(entry.szExeFile)) return true;
    } while (api.processNext(snapshot, &entry));
    return false;
}

} // namespace qisrtvcard
