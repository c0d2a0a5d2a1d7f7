#pragma once
// Initialises COM for the calling thread for one scope and undoes it in the destructor.

#include <objbase.h>

#include "qis/String.h"

namespace tunekit {

class SmartCoInitialize {
public:
    using InitFunction = HRESULT(WINAPI*)(LPVOID reserved, DWORD model);

    explicit SmartCoInitialize(DWORD model = COINIT_APARTMENTTHREADED) : model_(model) {}
    ~SmartCoInitialize();
    SmartCoInitialize(const SmartCoInitialize&) = delete;
    SmartCoInitialize& operator=(const SmartCoInitialize&) = delete;

    // True when COM is usable on this thread (S_FALSE, already initialised, counts).
    bool initialize();
    // What went wrong, with the HRESULT; empty when nothing did.
    qis::String initError() const { return error_; }

    // Tests replace CoInitializeEx to make it fail; null restores it. Returns the previous one.
    static InitFunction setInitFunction(InitFunction function);

private:
    DWORD model_;
    bool initialized_ = false;
    qis::String error_;
};

} // namespace tunekit
