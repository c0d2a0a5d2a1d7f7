#pragma once
// An output pin of the capture filter (capture or preview category). It negotiates the media
// type and the allocator with the pin it connects to, and while the filter runs its own thread
// delivers one time-stamped frame per frame period through IMemInputPin::Receive.

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "ComObject.h"
#include "MediaTypes.h"
#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"

namespace qisvcard {

class CaptureFilter;

class CapturePin final : public IPin, public IKsPropertySet, public IAMStreamConfig {
public:
    CapturePin(CaptureFilter& filter, std::wstring name, const GUID& category, const tvsim::VideoFormat& format);
    ~CapturePin();
    CapturePin(const CapturePin&) = delete;
    CapturePin& operator=(const CapturePin&) = delete;

    const std::wstring& name() const { return name_; }

    // The pin lives inside the filter: its references are the filter's.
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    // IPin
    STDMETHODIMP Connect(IPin* receiver, const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP ReceiveConnection(IPin*, const AM_MEDIA_TYPE*) override { return E_UNEXPECTED; }
    STDMETHODIMP Disconnect() override;
    STDMETHODIMP ConnectedTo(IPin** pin) override;
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* type) override;
    STDMETHODIMP QueryPinInfo(PIN_INFO* info) override;
    STDMETHODIMP QueryDirection(PIN_DIRECTION* direction) override;
    STDMETHODIMP QueryId(LPWSTR* id) override;
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** types) override;
    STDMETHODIMP QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }
    // Data flows out of this pin, never into it.
    STDMETHODIMP EndOfStream() override { return E_UNEXPECTED; }
    STDMETHODIMP BeginFlush() override { return E_UNEXPECTED; }
    STDMETHODIMP EndFlush() override { return E_UNEXPECTED; }
    STDMETHODIMP NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return E_UNEXPECTED; }

    // IKsPropertySet: the pin category, read-only.
    STDMETHODIMP Set(REFGUID, DWORD, LPVOID, DWORD, LPVOID, DWORD) override { return E_PROP_ID_UNSUPPORTED; }
    STDMETHODIMP Get(REFGUID set, DWORD id, LPVOID instance, DWORD instanceSize, LPVOID data, DWORD dataSize,
                     DWORD* returned) override;
    STDMETHODIMP QuerySupported(REFGUID set, DWORD id, DWORD* support) override;

    // IAMStreamConfig
    STDMETHODIMP SetFormat(AM_MEDIA_TYPE* type) override;
    STDMETHODIMP GetFormat(AM_MEDIA_TYPE** type) override;
    STDMETHODIMP GetNumberOfCapabilities(int* count, int* size) override;
    STDMETHODIMP GetStreamCaps(int index, AM_MEDIA_TYPE** type, BYTE* caps) override;

    // From the filter, with its lock held.
    HRESULT activate(); // stopped -> paused: the allocator committed, the thread waiting
    void run(REFERENCE_TIME start, const tunekit::ComPtr<IReferenceClock>& clock);
    void pause();
    void deactivate(); // -> stopped: the thread ended and joined

private:
    enum class Mode { Paused, Running, Stopping };
    struct RunState {
        Mode mode = Mode::Paused;
        REFERENCE_TIME start = 0;
        tunekit::ComPtr<IReferenceClock> clock;
        unsigned generation = 0; // one more on every Run
    };

    HRESULT attempt(IPin* receiver, const AM_MEDIA_TYPE& type);
    HRESULT decideAllocator();
    void clearConnection();
    std::vector<MediaType> typesToOffer() const;
    void setMode(Mode mode, REFERENCE_TIME start = 0, const tunekit::ComPtr<IReferenceClock>& clock = nullptr);
    RunState runState();

    void stream();
    bool waitForFrame(const RunState& run, REFERENCE_TIME due);
    REFERENCE_TIME streamTimeNow(const RunState& run) const;
    HRESULT deliver(const std::vector<BYTE>& frame, REFERENCE_TIME due, bool discontinuity);
    void reportEnd(HRESULT hr);
    void reportStatistics() const;

    struct Statistics {
        long long frames = 0;
        long long late = 0;         // handed to the receiver after their end time
        double seconds = 0;
        long long cpuUnits = 0;     // the thread's CPU time, 100 ns units
        long long receiveUnits = 0; // of which inside the receiver's Receive
    };

    CaptureFilter& filter_;
    const std::wstring name_;
    const GUID category_;
    const std::vector<MediaType> offered_;
    const REFERENCE_TIME framePeriod_;
    std::optional<std::size_t> chosen_; // SetFormat's choice

    tunekit::ComPtr<IPin> peer_;
    tunekit::ComPtr<IMemInputPin> input_;
    tunekit::ComPtr<IMemAllocator> allocator_;
    MediaType connected_;

    std::thread thread_;
    HANDLE wake_ = nullptr;   // set on every change of mode
    HANDLE frameDue_ = nullptr; // set by the reference clock
    std::mutex runMutex_;
    RunState run_;
    std::chrono::steady_clock::time_point unclockedStart_;
    Statistics statistics_; // the streaming thread's own
};

} // namespace qisvcard
