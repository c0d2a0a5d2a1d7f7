#pragma once
// The capture helpers' own log: category and file "<name>.log" in the log directory, also
// visible to the host at its log level. Messages before logToFile go to the default log.

#include "qis/String.h"

namespace tunekit {

class TunerLogger {
public:
    static void logToFile(const qis::String& name);
    static void logDebugMessage(const qis::String& message);
    static void logInfoMessage(const qis::String& message);
    static void logErrorMessage(const qis::String& message);
};

} // namespace tunekit
