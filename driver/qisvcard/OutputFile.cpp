#include "OutputFile.h"

namespace qisvcard {
namespace {

using Lock = std::lock_guard<std::mutex>;

HRESULT lastError() { return HRESULT_FROM_WIN32(GetLastError()); }

} // namespace

HRESULT OutputFile::create(const std::wstring& path) {
    Lock lock(mutex_);
    if (handle_ != INVALID_HANDLE_VALUE) CloseHandle(handle_);
    handle_ = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    return handle_ == INVALID_HANDLE_VALUE ? lastError() : S_OK;
}

void OutputFile::close() {
    Lock lock(mutex_);
    if (handle_ != INVALID_HANDLE_VALUE) CloseHandle(handle_);
    handle_ = INVALID_HANDLE_VALUE;
}

HRESULT OutputFile::write(const void* data, ULONG size, ULONG* written) {
    if (!data && size) return STG_E_INVALIDPOINTER;
    Lock lock(mutex_);
    if (handle_ == INVALID_HANDLE_VALUE) return STG_E_REVERTED;
    DWORD done = 0;
    const BOOL ok = WriteFile(handle_, data, size, &done, nullptr);
    if (written) *written = done;
    return ok ? S_OK : STG_E_WRITEFAULT;
}

HRESULT OutputFile::writeAt(LONGLONG offset, const void* data, ULONG size) {
    const HRESULT hr = seek(offset, FILE_BEGIN, nullptr);
    ULONG written = 0;
    return FAILED(hr) ? hr : write(data, size, &written);
}

HRESULT OutputFile::seek(LONGLONG distance, DWORD origin, ULARGE_INTEGER* position) {
    Lock lock(mutex_);
    if (handle_ == INVALID_HANDLE_VALUE) return STG_E_REVERTED;
    LARGE_INTEGER move;
    move.QuadPart = distance;
    LARGE_INTEGER reached{};
    if (!SetFilePointerEx(handle_, move, &reached, origin)) return STG_E_SEEKERROR;
    if (position) position->QuadPart = static_cast<ULONGLONG>(reached.QuadPart);
    return S_OK;
}

HRESULT OutputFile::setSize(ULONGLONG size) {
    Lock lock(mutex_);
    if (handle_ == INVALID_HANDLE_VALUE) return STG_E_REVERTED;
    LARGE_INTEGER here{}, zero{}, end;
    end.QuadPart = static_cast<LONGLONG>(size);
    if (!SetFilePointerEx(handle_, zero, &here, FILE_CURRENT) || !SetFilePointerEx(handle_, end, nullptr, FILE_BEGIN) ||
        !SetEndOfFile(handle_) || !SetFilePointerEx(handle_, here, nullptr, FILE_BEGIN))
        return STG_E_MEDIUMFULL;
    return S_OK;
}

} // namespace qisvcard
