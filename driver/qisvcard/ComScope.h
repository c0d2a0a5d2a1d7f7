#pragma once
// COM on the calling thread for the life of a scope, in the apartment asked for; undone only when
// it was done, so a thread that was already in another apartment is left as it was.
#include <objbase.h>

namespace qisvcard {

class ComScope {
public:
    explicit ComScope(DWORD model) : hr_(CoInitializeEx(nullptr, model)) {}
    ~ComScope() {
        if (SUCCEEDED(hr_)) CoUninitialize();
    }
    ComScope(const ComScope&) = delete;
    ComScope& operator=(const ComScope&) = delete;

private:
    HRESULT hr_;
};

} // namespace qisvcard
