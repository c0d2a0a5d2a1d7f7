#pragma once
// Log lines of the digital code: progress to the tuner log, COM failures with their HRESULT.

#include "frame/Trace.h"
#include "qis/String.h"
#include "qis/Value.h"
#include "tunekit/ErrorHandler.h"
#include "tunekit/TunerLogger.h"

namespace qisrtvcard {

// An HRESULT as the logs show it: a signed decimal number.
inline qis::String hrNumber(long hr) { return qis::QISValue(hr).toString(); }
// An HRESULT as readable text.
inline qis::String hrText(long hr) { return tunekit::ErrorHandler::errorMessageFromHr(hr); }

inline void logStep(const qis::String& text) { tunekit::TunerLogger::logDebugMessage(text); }

// "ERROR: <call> failed. hr=<number>"
inline qis::String failedLine(const qis::String& call, long hr) { return "ERROR: " + call + " failed. hr=" + hrNumber(hr); }
inline void logFailed(const qis::String& call, long hr) { logStep(failedLine(call, hr)); }

// A line on a module logger that starts with the source line number and a blank.
inline void logLine(qis::Logger* logger, int priority, int sourceLine, const qis::String& text) {
    logger->log(priority, qis::LoggerStream(sourceLine) << text);
}

} // namespace qisrtvcard

#define QISRTV_LOG(priority, text) ::qisrtvcard::logLine(::qisrtvcard::moduleLogger(), (priority), __LINE__, (text))
#define QISRTV_LOG_CLEARQAM(priority, text) ::qisrtvcard::logLine(::qisrtvcard::clearQamLogger(), (priority), __LINE__, (text))
