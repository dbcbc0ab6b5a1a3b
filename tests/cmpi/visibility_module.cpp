// A provider library built with -fvisibility=hidden, as release builds are:
// the object manager must still find its factory by its C name.
#include "cmpimacs.h"

static const CMPIBroker* broker;

static CMPIStatus VisMethodCleanup(CMPIMethodMI*, const CMPIContext*, CMPIBoolean) {
    CMReturn(CMPI_RC_NEVER_UNLOAD);
}

static CMPIStatus VisInvokeMethod(CMPIMethodMI*, const CMPIContext*, const CMPIResult*,
                                  const CMPIObjectPath*, const char*, const CMPIArgs*,
                                  CMPIArgs*) {
    CMReturn(CMPI_RC_OK);
}

CMMethodMIStub(Vis, VisProbe, broker, CMNoHook)

// Ordinary functions stay private to the library.
int visInternalHelper() { return broker != nullptr; }
