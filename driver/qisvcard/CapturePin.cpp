#include "CapturePin.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <new>

#include "CaptureFilter.h"
#include "ComScope.h"
#include "Enumerators.h"
#include "PinCommon.h"
#include "FrameSource.h"

namespace qisvcard {

using tunekit::ComPtr;

namespace {

// Enough buffers that the renderer can hold one for display while the next are filled.
constexpr long kBuffers = 4;
constexpr REFERENCE_TIME kUnitsPerMillisecond = 10000;
constexpr wchar_t kStatisticsVariable[] = L"QISVCARD_STATISTICS";

bool completeType(const AM_MEDIA_TYPE& type) {
    return type.majortype != GUID_NULL && type.subtype != GUID_NULL && type.formattype != GUID_NULL;
}

// CPU time of the calling thread, user and kernel, in 100 ns units.
long long threadCpuTime() {
    FILETIME created, exited, kernel, user;
    if (!GetThreadTimes(GetCurrentThread(), &created, &exited, &kernel, &user)) return 0;
    const auto units = [](const FILETIME& t) { return (static_cast<long long>(t.dwHighDateTime) << 32) | t.dwLowDateTime; };
    return units(kernel) + units(user);
}

REFERENCE_TIME periodOf(const tvsim::VideoFormat& format) {
    return static_cast<REFERENCE_TIME>(10000000.0 / format.framesPerSecond);
}

} // namespace

CapturePin::CapturePin(CaptureFilter& filter, std::wstring name, const GUID& category, const tvsim::VideoFormat& format)
    : filter_(filter), name_(std::move(name)), category_(category), offered_(offeredTypes(format)),
      framePeriod_(periodOf(format)), wake_(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      frameDue_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}

CapturePin::~CapturePin() {
    deactivate();
    if (wake_) CloseHandle(wake_);
    if (frameDue_) CloseHandle(frameDue_);
}

STDMETHODIMP CapturePin::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    IPin* pin = this;
    if (offer(iid, IID_IUnknown, pin, object) || offer(iid, IID_IPin, pin, object) ||
        offer(iid, IID_IKsPropertySet, static_cast<IKsPropertySet*>(this), object) ||
        offer(iid, IID_IAMStreamConfig, static_cast<IAMStreamConfig*>(this), object))
        return S_OK;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CapturePin::AddRef() { return filter_.AddRef(); }
STDMETHODIMP_(ULONG) CapturePin::Release() { return filter_.Release(); }

// ---- connection ----

std::vector<MediaType> CapturePin::typesToOffer() const {
    if (chosen_) return {offered_[*chosen_]};
    return offered_;
}

STDMETHODIMP CapturePin::Connect(IPin* receiver, const AM_MEDIA_TYPE* type) {
    if (!receiver) return E_POINTER;
    FilterLock lock(filter_.lock());
    if (peer_) return VFW_E_ALREADY_CONNECTED;
    if (filter_.stateLocked() != State_Stopped) return VFW_E_NOT_STOPPED;

    if (type && completeType(*type))
        return findOffered(typesToOffer(), *type) ? attempt(receiver, *type) : VFW_E_TYPE_NOT_ACCEPTED;
    // Our own types first, then those the receiver proposes that we can produce.
    for (const MediaType& own : typesToOffer())
        if ((!type || completes(*type, own.get())) && SUCCEEDED(attempt(receiver, own.get()))) return S_OK;
    ComPtr<IEnumMediaTypes> theirs;
    if (SUCCEEDED(receiver->EnumMediaTypes(theirs.put()))) {
        for (tunekit::MediaTypePtr proposed; theirs->Next(1, proposed.put(), nullptr) == S_OK;) {
            const MediaType candidate(*proposed.get());
            if (type && !completes(*type, candidate.get())) continue;
            if (findOffered(typesToOffer(), candidate.get()) && SUCCEEDED(attempt(receiver, candidate.get()))) return S_OK;
        }
    }
    return VFW_E_NO_ACCEPTABLE_TYPES;
}

// The receiver may ask this pin about the connection while it accepts it, so the peer and the
// type are set first and taken back when anything fails.
HRESULT CapturePin::attempt(IPin* receiver, const AM_MEDIA_TYPE& type) {
    peer_ = ComPtr<IPin>(receiver);
    connected_ = MediaType(type);
    HRESULT hr = receiver->ReceiveConnection(this, &type);
    if (FAILED(hr)) {
        clearConnection();
        return hr;
    }
    hr = peer_.as(input_);
    if (SUCCEEDED(hr)) hr = decideAllocator();
    if (FAILED(hr)) {
        receiver->Disconnect();
        clearConnection();
    }
    return hr;
}

namespace {

// The receiver's wishes, but at least our buffer count and a whole frame per buffer.
HRESULT sizeBuffers(IMemAllocator& allocator, const ALLOCATOR_PROPERTIES& wanted, long frameBytes) {
    ALLOCATOR_PROPERTIES asked = wanted;
    asked.cBuffers = std::max(wanted.cBuffers, kBuffers);
    asked.cbBuffer = std::max(wanted.cbBuffer, frameBytes);
    asked.cbAlign = std::max(wanted.cbAlign, 1L);
    ALLOCATOR_PROPERTIES actual{};
    const HRESULT hr = allocator.SetProperties(&asked, &actual);
    if (FAILED(hr)) return hr;
    return actual.cbBuffer >= frameBytes && actual.cBuffers >= 1 ? S_OK : E_FAIL;
}

} // namespace

// The receiver's allocator if it offers one that takes our sizes, else a memory allocator of
// our own; either way the receiver is told which one is used.
HRESULT CapturePin::decideAllocator() {
    ALLOCATOR_PROPERTIES wanted{};
    input_->GetAllocatorRequirements(&wanted); // optional: E_NOTIMPL leaves no wishes
    const long frameBytes = static_cast<long>(connected_.get().lSampleSize);

    ComPtr<IMemAllocator> allocator;
    if (SUCCEEDED(input_->GetAllocator(allocator.put())) && SUCCEEDED(sizeBuffers(*allocator.get(), wanted, frameBytes)) &&
        SUCCEEDED(input_->NotifyAllocator(allocator.get(), FALSE))) {
        allocator_ = allocator;
        return S_OK;
    }
    allocator.reset();
    HRESULT hr = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(allocator.put()));
    if (SUCCEEDED(hr)) hr = sizeBuffers(*allocator.get(), wanted, frameBytes);
    if (SUCCEEDED(hr)) hr = input_->NotifyAllocator(allocator.get(), FALSE);
    if (SUCCEEDED(hr)) allocator_ = allocator;
    return hr;
}

void CapturePin::clearConnection() {
    allocator_.reset();
    input_.reset();
    peer_.reset();
    connected_ = MediaType();
}

STDMETHODIMP CapturePin::Disconnect() {
    FilterLock lock(filter_.lock());
    if (filter_.stateLocked() != State_Stopped) return VFW_E_NOT_STOPPED;
    if (!peer_) return S_FALSE;
    if (allocator_) allocator_->Decommit();
    clearConnection();
    return S_OK;
}

STDMETHODIMP CapturePin::ConnectedTo(IPin** pin) {
    FilterLock lock(filter_.lock());
    return givePeer(peer_, pin);
}

STDMETHODIMP CapturePin::ConnectionMediaType(AM_MEDIA_TYPE* type) {
    FilterLock lock(filter_.lock());
    return giveConnectionType(peer_, connected_, type);
}

STDMETHODIMP CapturePin::QueryPinInfo(PIN_INFO* info) { return describePin(filter_, PINDIR_OUTPUT, name_, info); }

STDMETHODIMP CapturePin::QueryDirection(PIN_DIRECTION* direction) {
    if (!direction) return E_POINTER;
    *direction = PINDIR_OUTPUT;
    return S_OK;
}

STDMETHODIMP CapturePin::QueryId(LPWSTR* id) { return copyToTaskMemory(name_, id); }

STDMETHODIMP CapturePin::QueryAccept(const AM_MEDIA_TYPE* type) {
    if (!type) return E_POINTER;
    return findOffered(offered_, *type) ? S_OK : S_FALSE;
}

STDMETHODIMP CapturePin::EnumMediaTypes(IEnumMediaTypes** types) {
    FilterLock lock(filter_.lock());
    return createTypeEnumerator(*static_cast<IPin*>(this), typesToOffer(), types);
}

// ---- IKsPropertySet ----

STDMETHODIMP CapturePin::Get(REFGUID set, DWORD id, LPVOID, DWORD, LPVOID data, DWORD dataSize, DWORD* returned) {
    if (set != AMPROPSETID_Pin) return E_PROP_SET_UNSUPPORTED;
    if (id != AMPROPERTY_PIN_CATEGORY) return E_PROP_ID_UNSUPPORTED;
    if (returned) *returned = sizeof(GUID);
    if (!data) return returned ? S_OK : E_POINTER;
    if (dataSize < sizeof(GUID)) return E_UNEXPECTED;
    std::memcpy(data, &category_, sizeof(GUID));
    return S_OK;
}

STDMETHODIMP CapturePin::QuerySupported(REFGUID set, DWORD id, DWORD* support) {
    if (set != AMPROPSETID_Pin) return E_PROP_SET_UNSUPPORTED;
    if (id != AMPROPERTY_PIN_CATEGORY) return E_PROP_ID_UNSUPPORTED;
    if (support) *support = KSPROPERTY_SUPPORT_GET;
    return S_OK;
}

// ---- IAMStreamConfig ----

// While connected, a new format needs the peer's consent and a reconnection by the graph.
STDMETHODIMP CapturePin::SetFormat(AM_MEDIA_TYPE* type) {
    FilterLock lock(filter_.lock());
    if (filter_.stateLocked() != State_Stopped) return VFW_E_NOT_STOPPED;
    if (!type) {
        chosen_.reset();
        return S_OK;
    }
    const MediaType* own = findOffered(offered_, *type);
    if (!own) return VFW_E_INVALIDMEDIATYPE;
    const auto index = static_cast<std::size_t>(own - offered_.data());
    if (!peer_) {
        chosen_ = index;
        return S_OK;
    }
    if (own->get().subtype == connected_.get().subtype) {
        chosen_ = index;
        return S_OK;
    }
    if (peer_->QueryAccept(&own->get()) != S_OK) return VFW_E_INVALIDMEDIATYPE;
    IFilterGraph* graph = filter_.graphLocked();
    if (!graph) return VFW_E_NOT_IN_GRAPH;
    chosen_ = index;
    return graph->Reconnect(this);
}

STDMETHODIMP CapturePin::GetFormat(AM_MEDIA_TYPE** type) {
    if (!type) return E_POINTER;
    FilterLock lock(filter_.lock());
    const MediaType& current = peer_ ? connected_ : offered_[chosen_.value_or(0)];
    *type = current.allocate();
    return *type ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CapturePin::GetNumberOfCapabilities(int* count, int* size) {
    if (!count || !size) return E_POINTER;
    *count = static_cast<int>(offered_.size());
    *size = static_cast<int>(sizeof(VIDEO_STREAM_CONFIG_CAPS));
    return S_OK;
}

// One fixed size and frame rate per format: every range in the capabilities is a single point.
STDMETHODIMP CapturePin::GetStreamCaps(int index, AM_MEDIA_TYPE** type, BYTE* caps) {
    if (!type || !caps) return E_POINTER;
    if (index < 0) return E_INVALIDARG;
    if (static_cast<std::size_t>(index) >= offered_.size()) return S_FALSE;
    const MediaType& offered = offered_[static_cast<std::size_t>(index)];
    const VIDEOINFOHEADER& header = *offered.header();
    VIDEO_STREAM_CONFIG_CAPS config{};
    config.guid = FORMAT_VideoInfo;
    config.VideoStandard = filter_.card().hasTuner() ? static_cast<ULONG>(filter_.card().tvFormat()) : 0;
    const SIZE size = {header.bmiHeader.biWidth, header.bmiHeader.biHeight};
    config.InputSize = config.MinCroppingSize = config.MaxCroppingSize = config.MinOutputSize = config.MaxOutputSize = size;
    config.CropGranularityX = config.CropGranularityY = config.CropAlignX = config.CropAlignY = 1;
    config.OutputGranularityX = config.OutputGranularityY = 1;
    config.MinFrameInterval = config.MaxFrameInterval = header.AvgTimePerFrame;
    config.MinBitsPerSecond = config.MaxBitsPerSecond = static_cast<LONG>(header.dwBitRate);
    std::memcpy(caps, &config, sizeof config);
    *type = offered.allocate();
    return *type ? S_OK : E_OUTOFMEMORY;
}

// ---- streaming ----

HRESULT CapturePin::activate() {
    if (!peer_ || thread_.joinable()) return S_OK;
    const HRESULT hr = allocator_->Commit();
    if (FAILED(hr)) return hr;
    setMode(Mode::Paused);
    statistics_ = Statistics{};
    thread_ = std::thread([this] { stream(); });
    return S_OK;
}

void CapturePin::run(REFERENCE_TIME start, const ComPtr<IReferenceClock>& clock) {
    if (thread_.joinable()) setMode(Mode::Running, start, clock);
}

void CapturePin::pause() {
    if (thread_.joinable()) setMode(Mode::Paused);
}

// The allocator is decommitted first so that a thread waiting for a free buffer wakes up.
void CapturePin::deactivate() {
    if (!thread_.joinable()) return;
    setMode(Mode::Stopping);
    if (allocator_) allocator_->Decommit();
    thread_.join();
}

void CapturePin::setMode(Mode mode, REFERENCE_TIME start, const ComPtr<IReferenceClock>& clock) {
    {
        std::lock_guard<std::mutex> lock(runMutex_);
        run_.mode = mode;
        if (mode == Mode::Running) {
            run_.start = start;
            run_.clock = clock;
            ++run_.generation;
            unclockedStart_ = std::chrono::steady_clock::now();
        }
    }
    SetEvent(wake_);
}

CapturePin::RunState CapturePin::runState() {
    std::lock_guard<std::mutex> lock(runMutex_);
    return run_;
}

REFERENCE_TIME CapturePin::streamTimeNow(const RunState& run) const {
    if (run.clock) {
        REFERENCE_TIME now = 0;
        run.clock->GetTime(&now);
        return now - run.start;
    }
    const auto elapsed = std::chrono::steady_clock::now() - unclockedStart_;
    return std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count() * 10;
}

// Waits for the due stream time on the graph's clock; false when a change of mode came first.
bool CapturePin::waitForFrame(const RunState& run, REFERENCE_TIME due) {
    if (!run.clock) {
        const REFERENCE_TIME left = due - streamTimeNow(run);
        if (left <= 0) return true;
        return WaitForSingleObject(wake_, static_cast<DWORD>(left / kUnitsPerMillisecond)) == WAIT_TIMEOUT;
    }
    DWORD_PTR cookie = 0;
    if (FAILED(run.clock->AdviseTime(run.start, due, reinterpret_cast<HEVENT>(frameDue_), &cookie))) return true;
    const HANDLE events[] = {wake_, frameDue_};
    const DWORD woken = WaitForMultipleObjects(2, events, FALSE, INFINITE);
    if (woken == WAIT_OBJECT_0 + 1) return true;
    run.clock->Unadvise(cookie);
    return false;
}

void CapturePin::stream() {
    const ComScope com(COINIT_MULTITHREADED);
    const auto began = std::chrono::steady_clock::now();
    const VIDEOINFOHEADER& header = *connected_.header();
    FrameSource frames(header.bmiHeader.biWidth, header.bmiHeader.biHeight, connected_.get().subtype);
    unsigned generation = 0;
    long long frame = 0;
    bool ended = false;
    bool discontinuity = true;
    for (;;) {
        const RunState run = runState();
        if (run.mode == Mode::Stopping) break;
        if (run.generation != generation) { // a new Run: frames go on from the stream time now
            generation = run.generation;
            frame = std::max(frame, (streamTimeNow(run) + framePeriod_ - 1) / framePeriod_);
            ended = false;
            discontinuity = true;
        }
        if (run.mode == Mode::Paused || ended) {
            WaitForSingleObject(wake_, INFINITE);
            continue;
        }
        const REFERENCE_TIME due = frame * framePeriod_;
        if (!waitForFrame(run, due)) continue;
        // Handed over after its own end time, a frame comes too late for a renderer to show.
        if (streamTimeNow(run) > due + framePeriod_) ++statistics_.late;
        const HRESULT hr = deliver(frames.frame(filter_.card().picture()), due, discontinuity);
        if (hr != S_OK) { // includes a decommitted allocator: the graph is stopping
            reportEnd(hr);
            ended = true;
        }
        discontinuity = false;
        ++frame;
        ++statistics_.frames;
    }
    statistics_.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    statistics_.cpuUnits = threadCpuTime();
    reportStatistics();
}

namespace {

// Appends `line` to the file QISVCARD_STATISTICS names, if it names one.
void appendStatistics(const wchar_t* line) {
    wchar_t path[MAX_PATH];
    const DWORD length = GetEnvironmentVariableW(kStatisticsVariable, path, MAX_PATH);
    if (!length || length >= MAX_PATH) return;
    HANDLE file = CreateFileW(path, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return;
    char text[256];
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, line, -1, text, sizeof text, nullptr, nullptr);
    DWORD written = 0;
    if (bytes > 1) WriteFile(file, text, static_cast<DWORD>(bytes - 1), &written, nullptr);
    CloseHandle(file);
}

} // namespace

// One line for a debugger, and for the file QISVCARD_STATISTICS names: what the stream cost,
// with and without the time the receiver spent inside Receive on this thread.
void CapturePin::reportStatistics() const {
    if (statistics_.seconds <= 0) return;
    const double own = static_cast<double>(statistics_.cpuUnits - statistics_.receiveUnits) / 1e7;
    const double all = static_cast<double>(statistics_.cpuUnits) / 1e7;
    wchar_t line[256];
    swprintf(line, 256, L"qisvcard: %ls pin: %lld frames (%lld late) in %.2f s, thread CPU %.1f %% (%.1f %% without Receive)\n",
             name_.c_str(), statistics_.frames, statistics_.late, statistics_.seconds, all * 100 / statistics_.seconds,
             own * 100 / statistics_.seconds);
    OutputDebugStringW(line);
    appendStatistics(line);
}

HRESULT CapturePin::deliver(const std::vector<BYTE>& frame, REFERENCE_TIME due, bool discontinuity) {
    ComPtr<IMediaSample> sample;
    HRESULT hr = allocator_->GetBuffer(sample.put(), nullptr, nullptr, 0);
    if (FAILED(hr)) return hr;
    BYTE* data = nullptr;
    hr = sample->GetPointer(&data);
    if (FAILED(hr)) return hr;
    const long bytes = std::min(sample->GetSize(), static_cast<long>(frame.size()));
    std::memcpy(data, frame.data(), static_cast<std::size_t>(bytes));
    sample->SetActualDataLength(bytes);
    REFERENCE_TIME start = due, end = due + framePeriod_;
    sample->SetTime(&start, &end);
    sample->SetSyncPoint(TRUE);
    sample->SetDiscontinuity(discontinuity ? TRUE : FALSE);
    const long long before = threadCpuTime();
    hr = input_->Receive(sample.get());
    statistics_.receiveUnits += threadCpuTime() - before;
    return hr;
}

// S_FALSE from Receive: the receiver wants no more, so the stream ends with an end of stream.
// A failure is what a renderer stopped before this filter answers (the graph stops filters
// downstream first): delivery rests until the next Run, without an error for the graph.
void CapturePin::reportEnd(HRESULT hr) {
    if (hr == S_FALSE) peer_->EndOfStream();
}

} // namespace qisvcard
