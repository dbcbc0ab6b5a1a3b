// Fixture of the iSCSI class tests: the provider class fixture with modify
// requests on one key, method calls and their output arguments, and the
// library's writes.
#pragma once

#include "class_test.h"

#include <regex>

class ISCSIClassTest : public ProviderClassTest {
protected:
    static vcim::Property uint64(const char* name, uint64_t v) { return {name, vcim::Value::uint(CMPI_uint64, v)}; }
    // A status as one text: its code's name and its message.
    static std::string text(const vcim::Status& status) { return status.codeName() + ": " + status.msg; }
    // A modify request on the instance of `cls` with this key, with a clear call log.
    vcim::Status set(const char* cls, const std::string& key, const std::vector<vcim::Property>& props,
                     std::optional<vcim::PropertyList> list = std::nullopt)
    {
        vtsim_log_clear();
        return modify(keyPath(cls, key), props, list);
    }
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
