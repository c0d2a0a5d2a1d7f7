#pragma once
// What the simulated objects were asked to do, in order, for tests to read.

#include <cstdint>
#include <mutex>
#include <vector>

#include "qis/String.h"

namespace tvsim {

struct Call {
    qis::String object;    // the simulated object's name, e.g. "FilterGraph"
    qis::String method;    // e.g. "AddFilter"
    qis::String arguments; // the arguments that matter, as text
    std::int32_t result;   // the HRESULT returned
    bool injected;         // the result came from a fault rule
};

class Journal {
public:
    void record(Call call);
    std::vector<Call> calls() const;
    std::size_t count(const qis::String& object, const qis::String& method) const;
    void clear();

private:
    mutable std::mutex mutex_;
    std::vector<Call> calls_;
};

} // namespace tvsim
