// Fixture of the iSCSI class tests: the provider class fixture with method
// calls and their output arguments.
#pragma once

#include "class_test.h"

#include <regex>

class ISCSIClassTest : public ProviderClassTest {
protected:
    static vcim::Property uint64(const char* name, uint64_t v) { return {name, vcim::Value::uint(CMPI_uint64, v)}; }
    std::string outText(const char* name) const
    {
        const vcim::Value* v = out(name);
        return v ? v->toCimString() : "<none>";
    }
    // Calls of the library's writes (operations named Set...) since the
    // last clear, without the function's HBA number.
    static std::vector<std::string> setCalls()
    {
        static const std::regex kHba("hba=[0-9]+ ?");
        std::vector<std::string> found;
        for (const std::string& entry : vtsim_test::callLog())
            if (entry.rfind("VTAPI_Set", 0) == 0 || entry.rfind("VTAPI_SDSet", 0) == 0 ||
                entry.rfind("VTAPI_SDISet", 0) == 0)
                found.push_back(std::regex_replace(entry, kHba, ""));
        return found;
    }
};
