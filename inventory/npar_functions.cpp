#include "npar_functions.h"

namespace {

template <std::string ESwitchHeader::*Field>
bool textOf(const ESwitchHeader& h, PropertyValue& out)
{
    out.setText(h.*Field);
    return true;
}

} // namespace

PropertyTable<ESwitchHeader> MakeESwitchHeaderTable(ClassProperties& owner)
{
    return PropertyTable<ESwitchHeader>(owner, {
        Computed<ESwitchHeader>("InstanceID", CMPI_string, textOf<&ESwitchHeader::id>),
        Computed<ESwitchHeader>("AdapterSerialNumber", CMPI_string, textOf<&ESwitchHeader::serial>),
        VELTRA_FIELD(ESwitchHeader, port, "PortNumber", CMPI_uint32),
        VELTRA_FIELD(ESwitchHeader, function, "FunctionID", CMPI_uint32),
    });
}

CmpiObjectPath MakeESwitchPath(const RequestClass& rc, const NPARFunction& fn)
{
    const std::string id = ESwitchInstanceId(fn.adapter, fn.id);
    return MakeKeyedPath(rc.className.c_str(), rc.nameSpace.c_str(), {{"InstanceID", id.c_str()}});
}

CmpiInstance MakeESwitchInstance(const RequestClass& rc, const char** properties, const NPARFunction& fn,
                                 const PropertyTable<ESwitchHeader>& header)
{
    static const char* keys[] = {"InstanceID", nullptr};
    CmpiInstance instance = MakeFilteredInstance(MakeESwitchPath(rc, fn), properties, keys);
    header.build(instance, ESwitchHeader{ESwitchInstanceId(fn.adapter, fn.id), AdapterSerial(fn.adapter),
                                         GetNPARPortNumber(fn.adapter, fn.id), fn.id});
    return instance;
}
