// The file writer: what it receives goes to its file, finished when the graph stops.
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <memory>
#include <vector>

#include "AviMux.h"
#include "SystemFilters.h"

namespace tvsim {
namespace {

// Writes the stream it receives to its file. The file is finished when the graph stops; it is
// written under a temporary name and renamed at the end, so that a failed recording never
// leaves a file that looks complete.
class FileWriter final : public SimFilter, public IFileSinkFilter2 {
public:
    FileWriter() : SimFilter("FileWriter", CLSID_FileWriter) {
        input_ = &addPin("in", PINDIR_INPUT,
                         streamTypes({&MEDIASUBTYPE_Avi, &MEDIASUBTYPE_MPEG2_PROGRAM, &MEDIASUBTYPE_MPEG2_TRANSPORT, &GUID_NULL}));
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return SimFilter::QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return SimFilter::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return SimFilter::Release(); }

    // IFileSinkFilter
    STDMETHODIMP SetFileName(LPCOLESTR name, const AM_MEDIA_TYPE* type) override {
        return call("SetFileName", [&]() -> HRESULT {
            if (!name) return E_POINTER;
            if (!*name) return E_INVALIDARG;
            if (state() != State_Stopped) return VFW_E_NOT_STOPPED;
            fileName_ = name;
            fileType_ = type ? MediaType::from(*type) : MediaType();
            hasFileType_ = type != nullptr;
            return S_OK;
        }, Arguments().with("file", qis::String(name ? name : L"")));
    }

    STDMETHODIMP GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) override {
        return call("GetCurFile", [&]() -> HRESULT {
            if (!name) return E_POINTER;
            *name = nullptr;
            if (fileName_.empty()) return E_FAIL;
            if (type) {
                if (hasFileType_) {
                    if (FAILED(fileType_.copyTo(*type))) return E_OUTOFMEMORY;
                } else {
                    ZeroMemory(type, sizeof(*type));
                }
            }
            *name = taskMemString(qis::String(fileName_));
            return *name ? S_OK : E_OUTOFMEMORY;
        });
    }

    // IFileSinkFilter2
    STDMETHODIMP SetMode(DWORD flags) override {
        return call("SetMode", [&]() -> HRESULT {
            if (flags & ~static_cast<DWORD>(AM_FILE_OVERWRITE)) return E_INVALIDARG;
            mode_ = flags;
            return S_OK;
        });
    }
    STDMETHODIMP GetMode(DWORD* flags) override {
        if (!flags) return E_POINTER;
        *flags = mode_;
        return S_OK;
    }

    // The graph's event sink is kept without a reference, as filters keep their graph: the graph
    // may be stopping this filter from its own destructor, when it can no longer be referenced.
    STDMETHODIMP JoinFilterGraph(IFilterGraph* joined, LPCWSTR name) override {
        const HRESULT hr = SimFilter::JoinFilterGraph(joined, name);
        events_ = nullptr;
        ComPtr<IMediaEventSink> events;
        if (SUCCEEDED(hr) && joined && SUCCEEDED(joined->QueryInterface(IID_PPV_ARGS(events.put())))) events_ = events.get();
        return hr;
    }

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == IID_IFileSinkFilter) return static_cast<IFileSinkFilter*>(this);
        if (iid == IID_IFileSinkFilter2) return static_cast<IFileSinkFilter2*>(this);
        return SimFilter::extraInterface(iid);
    }

    void stateChanged(FILTER_STATE from, FILTER_STATE to) override {
        if (to == State_Stopped && from != State_Stopped) finishFile();
    }

private:
    void finishFile() {
        if (fileName_.empty() || !input_->isConnected()) return;
        const std::wstring temporary = fileName_ + L".partial";
        bool written = false;
        std::FILE* file = nullptr;
        if (_wfopen_s(&file, temporary.c_str(), L"wb") == 0 && file) {
            const auto* peer = dynamic_cast<const SimPin*>(input_->peer());
            const auto* mux = peer ? dynamic_cast<const AviMux*>(&peer->owner()) : nullptr;
            // Only the AVI Mux is modelled as a stream source; anything else gives an empty file.
            written = mux ? mux->writeRecording(file) : true;
            written = std::fclose(file) == 0 && written;
            written = written && MoveFileExW(temporary.c_str(), fileName_.c_str(), MOVEFILE_REPLACE_EXISTING);
            if (!written) DeleteFileW(temporary.c_str());
        }
        // A failed write is reported to the graph, which passes it on to the application.
        if (!written && events_) events_->Notify(EC_ERRORABORT, static_cast<LONG_PTR>(STG_E_CANTSAVE), 0);
    }

    SimPin* input_;
    IMediaEventSink* events_ = nullptr;
    std::wstring fileName_;
    MediaType fileType_;
    bool hasFileType_ = false;
    DWORD mode_ = 0;
};

} // namespace

ComPtr<IUnknown> createFileWriter(Simulation&) {
    ComPtr<FileWriter> writer = make<FileWriter>();
    return ComPtr<IUnknown>(static_cast<IUnknown*>(static_cast<IBaseFilter*>(writer.get())));
}

} // namespace tvsim
