// What a host hands the framework: parameter values of every type and device files. Any bytes
// must give a value, a refusal with a reason, or a UsageError naming the fault; nothing else.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "mirt5/DataType.h"
#include "mirt5/DeviceFile.h"
#include "mirt5/DiagModule.h"
#include "mirt5/Value.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (const mirt5::DataType& type : {mirt5::DataType::UINT32(), mirt5::DataType::DOUBLE(), mirt5::DataType::BOOLEAN(),
                                        mirt5::DataType::STRING()}) {
        qis::String why;
        const auto value = mirt5::Value::parse(type, qis::String(text), &why);
        // A refusal always says why.
        if (!value && why.isEmpty()) std::abort();
    }
    try {
        mirt5::parseDevice(text, "fuzz.json");
    } catch (const mirt5::UsageError& error) {
        if (std::string(error.what()).find("fuzz.json") == std::string::npos) std::abort(); // names the file
    }
    return 0;
}
