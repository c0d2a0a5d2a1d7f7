#pragma once
// The file a writer filter writes: made anew when streaming starts, written at any position
// from any thread, closed when the writer goes.

#include <windows.h>

#include <mutex>
#include <string>

namespace qisvcard {

class OutputFile {
public:
    OutputFile() = default;
    ~OutputFile() { close(); }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    HRESULT create(const std::wstring& path); // an existing file is replaced
    void close();

    HRESULT write(const void* data, ULONG size, ULONG* written);
    HRESULT writeAt(LONGLONG offset, const void* data, ULONG size);
    HRESULT seek(LONGLONG distance, DWORD origin, ULARGE_INTEGER* position);
    HRESULT setSize(ULONGLONG size);

private:
    std::mutex mutex_;
    HANDLE handle_ = INVALID_HANDLE_VALUE;
};

} // namespace qisvcard
