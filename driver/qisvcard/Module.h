#pragma once
// What the DLL as a whole keeps: its own handle, and a count of everything alive in it, so that
// DllCanUnloadNow says yes only when no object, enumerator, factory or server lock remains.

#include <windows.h>

namespace qisvcard {

HMODULE moduleHandle();

// Counts one live object of the DLL for as long as it exists.
class ModuleReference {
public:
    ModuleReference();
    ~ModuleReference();
    ModuleReference(const ModuleReference&) = delete;
    ModuleReference& operator=(const ModuleReference&) = delete;
};

void lockModule();
void unlockModule();
bool moduleInUse();

// {6C1F4B52-3E8A-4D7B-B5C2-91A0D3E7F824}: the virtual TV card's capture filter.
inline constexpr CLSID kCardClsid = {0x6c1f4b52, 0x3e8a, 0x4d7b, {0xb5, 0xc2, 0x91, 0xa0, 0xd3, 0xe7, 0xf8, 0x24}};

// {6C1F4B53-3E8A-4D7B-B5C2-91A0D3E7F824}: a file writer whose input pin offers IStream, for
// Wine 8, whose own file writer lacks it (docs/virtual-card-driver.md).
inline constexpr CLSID kStreamFileWriterClsid = {0x6c1f4b53, 0x3e8a, 0x4d7b, {0xb5, 0xc2, 0x91, 0xa0, 0xd3, 0xe7, 0xf8, 0x24}};

} // namespace qisvcard
