// A factory is reachable with dlsym under its plain C name even in a library
// built with hidden visibility; nothing else leaks out.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "cmpift.h"

TEST(CmpiExport, FactoryIsExportedWithCLinkageFromHiddenVisibilityLibrary) {
    void* lib = dlopen(CMPI_VISIBILITY_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(lib, nullptr) << dlerror();

    using Factory = CMPIMethodMI* (*)(const CMPIBroker*, const CMPIContext*, CMPIStatus*);
    auto create = reinterpret_cast<Factory>(dlsym(lib, "VisProbe_Create_MethodMI"));
    ASSERT_NE(create, nullptr) << "factory not exported under its C name";
    EXPECT_EQ(dlsym(lib, "_Z17visInternalHelperv"), nullptr) << "hidden visibility not in effect";

    CMPIBroker mb = {nullptr, nullptr, nullptr, nullptr, nullptr};
    CMPIStatus rc = {CMPI_RC_ERR_FAILED, nullptr};
    CMPIMethodMI* mi = create(&mb, nullptr, &rc);
    ASSERT_NE(mi, nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_STREQ(mi->ft->miName, "methodVisProbe");
    EXPECT_EQ(mi->ft->cleanup(mi, nullptr, 0).rc, CMPI_RC_NEVER_UNLOAD);
    dlclose(lib);
}
