#include "tunekit/TunerLogger.h"

#include <atomic>
#include <memory>

#include "qis/Log.h"

namespace tunekit {
namespace {

std::atomic<qis::Logger*> g_logger{nullptr};

qis::Logger& logger() {
    if (qis::Logger* current = g_logger.load()) return *current;
    qis::Logger* created = nullptr;
    qis::LogFactory::createLogger("libTunekit", &created);
    g_logger = created;
    return *created;
}

} // namespace

void TunerLogger::logToFile(const qis::String& name) {
    qis::Logger* named = nullptr;
    qis::LogFactory::createLogger(name, &named);
    named->setFile(std::make_shared<qis::LogFile>(name));
    g_logger = named;
}

void TunerLogger::logDebugMessage(const qis::String& message) { logger().log(qis::LogPriority::Debug, message); }
void TunerLogger::logInfoMessage(const qis::String& message) { logger().log(qis::LogPriority::Info, message); }
void TunerLogger::logErrorMessage(const qis::String& message) { logger().log(qis::LogPriority::Error, message); }

} // namespace tunekit
