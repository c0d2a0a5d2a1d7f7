#include "frame/Trace.h"

namespace qisrtvcard {
namespace {

// One thread runs the test, but the framework's thread may log too: keep creation atomic.
qis::Logger* loggerFor(const char* category) {
    qis::Logger* logger = nullptr;
    qis::LogFactory::createLogger(category, &logger);
    return logger;
}

} // namespace

qis::Logger* moduleLogger() {
    static qis::Logger* const logger = loggerFor("qisrtvcard");
    return logger;
}

qis::Logger* clearQamLogger() {
    static qis::Logger* const logger = loggerFor("qisrtvcard.ClearQAMTest");
    return logger;
}

qis::Logger* traceLogger(qis::Logger* (*logger)()) {
    if (qis::LogFactory::getPriority() >= qis::LogPriority::Info) return nullptr;
    qis::Logger* candidate = logger();
    return candidate->getPriority() < qis::LogPriority::Debug ? candidate : nullptr;
}

} // namespace qisrtvcard
