#pragma once
// Initialises COM for the calling thread for one scope and undoes it in the destructor.

#include <objbase.h>

#include "qis/String.h"

namespace tunekit {

// CoInitializeEx for the whole product, or what the simulated system or a test put in its place.
using ComInitializer = HRESULT(WINAPI*)(LPVOID reserved, DWORD model);
HRESULT initializeCom(DWORD model);
// Null restores CoInitializeEx. Returns the one installed before.
ComInitializer setComInitializer(ComInitializer initializer);
// CoUninitialize, likewise replaceable, so that whoever watches the one sees the other.
using ComUninitializer = void(WINAPI*)();
void uninitializeCom();
ComUninitializer setComUninitializer(ComUninitializer uninitializer);

class SmartCoInitialize {
public:

    explicit SmartCoInitialize(DWORD model = COINIT_APARTMENTTHREADED) : model_(model) {}
    ~SmartCoInitialize();
    SmartCoInitialize(const SmartCoInitialize&) = delete;
    SmartCoInitialize& operator=(const SmartCoInitialize&) = delete;

    // True when COM is usable on this thread (S_FALSE, already initialised, counts).
    bool initialize();
    // What went wrong, with the HRESULT; empty when nothing did.
    qis::String initError() const { return error_; }

private:
    DWORD model_;
    bool initialized_ = false;
    qis::String error_;
};

} // namespace tunekit
