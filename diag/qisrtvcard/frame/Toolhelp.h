#pragma once
// The process snapshot functions the Media Center guard calls. The simulated system lists the
// scenario's processes through the same four calls.

#include <windows.h>
#include <tlhelp32.h>

namespace qisrtvcard {

struct ToolhelpApi {
    HANDLE(WINAPI* createSnapshot)(DWORD flags, DWORD processId);
    BOOL(WINAPI* processFirst)(HANDLE snapshot, LPPROCESSENTRY32W entry);
    BOOL(WINAPI* processNext)(HANDLE snapshot, LPPROCESSENTRY32W entry);
    BOOL(WINAPI* closeHandle)(HANDLE handle);
};

const ToolhelpApi& toolhelp();
// Null restores the system's functions. Returns the table installed before (null for the system's).
const ToolhelpApi* setToolhelp(const ToolhelpApi* api);

} // namespace qisrtvcard
