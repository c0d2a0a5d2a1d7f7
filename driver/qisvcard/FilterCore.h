#pragma once
// What every filter of the DLL keeps the same way: its lock, state, reference clock, and the
// graph it joined under a name.

#include <mutex>
#include <string>

#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"

namespace qisvcard {

class FilterCore {
public:
    // Recursive: pins call back into themselves through their peers while connecting.
    std::recursive_mutex& lock() { return mutex_; }

    // With the lock held.
    FILTER_STATE state() const { return state_; }
    void setState(FILTER_STATE state) { state_ = state; }
    IFilterGraph* graph() const { return graph_; }
    const tunekit::ComPtr<IReferenceClock>& clock() const { return clock_; }

    // The IMediaFilter and IBaseFilter methods that take the lock themselves.
    HRESULT setSyncSource(IReferenceClock* clock);
    HRESULT getSyncSource(IReferenceClock** clock);
    HRESULT queryFilterInfo(FILTER_INFO* info);
    HRESULT joinFilterGraph(IFilterGraph* graph, LPCWSTR name);

private:
    std::recursive_mutex mutex_;
    FILTER_STATE state_ = State_Stopped;
    tunekit::ComPtr<IReferenceClock> clock_;
    IFilterGraph* graph_ = nullptr; // not held: the graph holds the filter
    std::wstring name_;
};

} // namespace qisvcard
