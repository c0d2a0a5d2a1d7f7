#include "frame/Entry.h"

#include "frame/Catalogue.h"
#include "frame/DeviceDiscovery.h"
#include "frame/Simulated.h"
#include "qis/ErrorStream.h"
#include "qis/Exception.h"
#include "qisrtvcard_version.h"
#include "tunekit/TunerLogger.h"

namespace qisrtvcard {

int moduleMain(int argc, char** argv) {
    tunekit::TunerLogger::logToFile("libTunekit");
    try {
        mirt5::DiagModule::setCmdLineArgs(argc, argv);
        mirt5::DiagModule::setVersion(QISRTVCARD_VERSION_MAJOR, QISRTVCARD_VERSION_MINOR, QISRTVCARD_VERSION_BUILD);
        mirt5::DiagModule::setModuleInitCallback(moduleInit);
        mirt5::DiagModule::setSimulationStarter(startSimulatedSystem);
        mirt5::DiagModule::setDeviceDiscoverer(discoverDevices);
        return mirt5::DiagModule::start();
    } catch (const qis::Exception& e) {
        qis::cerr << "exception caught: " << e.getMessage() << "\n";
        return mirt5::TestResult::EXITEDABNORMALLY().value();
    }
}

} // namespace qisrtvcard
