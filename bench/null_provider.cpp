// The null provider of the benchmarks: serves instances recorded from the
// real provider, from memory, with no adapter library calls. Whatever an
// enumeration through the object manager costs beyond it is the provider's.
#include "cim_value.h"
#include "cmpift.h"
#include "cmpimacs.h"

#include <vector>

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace {

const CMPIBroker* g_broker = nullptr;
const std::vector<vcim::Instance>* g_served = nullptr;

CMPIStatus ok() { return CMPIStatus{CMPI_RC_OK, nullptr}; }

// The CMPI form of a recorded scalar; strings point into the record.
CMPIValue scalar(const vcim::Value& v, CMPIType& type)
{
    CMPIValue out{};
    type = v.type & ~CMPI_ARRAY;
    switch (type) {
    case CMPI_boolean: out.boolean = static_cast<CMPIBoolean>(v.n.u); break;
    case CMPI_char16: out.char16 = static_cast<CMPIChar16>(v.n.u); break;
    case CMPI_uint8: out.uint8 = static_cast<CMPIUint8>(v.n.u); break;
    case CMPI_uint16: out.uint16 = static_cast<CMPIUint16>(v.n.u); break;
    case CMPI_uint32: out.uint32 = static_cast<CMPIUint32>(v.n.u); break;
    case CMPI_uint64: out.uint64 = v.n.u; break;
    case CMPI_sint8: out.sint8 = static_cast<CMPISint8>(v.n.i); break;
    case CMPI_sint16: out.sint16 = static_cast<CMPISint16>(v.n.i); break;
    case CMPI_sint32: out.sint32 = static_cast<CMPISint32>(v.n.i); break;
    case CMPI_sint64: out.sint64 = v.n.i; break;
    case CMPI_real32: out.real32 = static_cast<CMPIReal32>(v.n.r); break;
    case CMPI_real64: out.real64 = v.n.r; break;
    case CMPI_string:
    case CMPI_chars:
        type = CMPI_chars;
        out.chars = const_cast<char*>(v.s.c_str());
        break;
    case CMPI_dateTime:
        out.dateTime = CMNewDateTimeFromChars(g_broker, v.dt.toString().c_str(), nullptr);
        break;
    default: type = CMPI_null;
    }
    return out;
}

void setProperty(CMPIInstance* inst, const vcim::Property& p)
{
    if (p.value.null)
        return;
    CMPIType type;
    if (!(p.value.type & CMPI_ARRAY)) {
        CMPIValue v = scalar(p.value, type);
        if (type != CMPI_null)
            CMSetProperty(inst, p.name.c_str(), &v, type);
        return;
    }
    const CMPIType element = p.value.type & ~CMPI_ARRAY;
    CMPIArray* array =
        CMNewArray(g_broker, static_cast<CMPICount>(p.value.count()), element == CMPI_string ? CMPI_chars : element,
                   nullptr);
    for (size_t i = 0; i < p.value.count(); ++i) {
        CMPIValue v = scalar(p.value.at(i), type);
        CMSetArrayElementAt(array, static_cast<CMPICount>(i), &v, type);
    }
    CMPIValue v{};
    v.array = array;
    CMSetProperty(inst, p.name.c_str(), &v, p.value.type);
}

CMPIStatus cleanup(CMPIInstanceMI*, const CMPIContext*, CMPIBoolean) { return ok(); }

CMPIStatus enumInstances(CMPIInstanceMI*, const CMPIContext*, const CMPIResult* rslt, const CMPIObjectPath*,
                         const char**)
{
    for (const vcim::Instance& recorded : g_served ? *g_served : std::vector<vcim::Instance>()) {
        CMPIObjectPath* op = CMNewObjectPath(g_broker, recorded.path.nameSpace.c_str(),
                                             recorded.path.className.c_str(), nullptr);
        for (const vcim::Property& key : recorded.path.keys) {
            CMPIType type;
            CMPIValue v = scalar(key.value, type);
            CMAddKey(op, key.name.c_str(), &v, type);
        }
        CMPIInstance* inst = CMNewInstance(g_broker, op, nullptr);
        for (const vcim::Property& p : recorded.props)
            setProperty(inst, p);
        CMReturnInstance(rslt, inst);
    }
    CMReturnDone(rslt);
    return ok();
}

CMPIStatus notSupported() { return CMPIStatus{CMPI_RC_ERR_NOT_SUPPORTED, nullptr}; }
CMPIStatus enumNames(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*, const CMPIObjectPath*)
{
    return notSupported();
}
CMPIStatus getInstance(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*, const CMPIObjectPath*, const char**)
{
    return notSupported();
}
CMPIStatus createInstance(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*, const CMPIObjectPath*,
                          const CMPIInstance*)
{
    return notSupported();
}
CMPIStatus modifyInstance(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*, const CMPIObjectPath*,
                          const CMPIInstance*, const char**)
{
    return notSupported();
}
CMPIStatus deleteInstance(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*, const CMPIObjectPath*)
{
    return notSupported();
}
CMPIStatus execQuery(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*, const CMPIObjectPath*, const char*,
                     const char*)
{
    return notSupported();
}

CMPIInstanceMIFT instanceFT = {CMPICurrentVersion, CMPICurrentVersion, "instanceNullProvider", cleanup,
                               enumNames, enumInstances, getInstance, createInstance, modifyInstance,
                               deleteInstance, execQuery};
CMPIInstanceMI instanceMI = {nullptr, &instanceFT};

} // namespace

EXPORT CMPIInstanceMI* NullProvider_Create_InstanceMI(const CMPIBroker* broker, const CMPIContext*, CMPIStatus*)
{
    g_broker = broker;
    return &instanceMI;
}

// The instances the next enumerations return (kept by the caller).
EXPORT void NullProvider_Serve(const std::vector<vcim::Instance>* instances) { g_served = instances; }
