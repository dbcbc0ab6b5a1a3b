// The class "Veltra_Adapter": every adapter of the inventory, keyed by its
// serial number, with the firmware image upload and update, NIC
// partitioning and SR-IOV methods. Also the pieces that the other
// adapter-level classes ("VeltraNIC_Adapter", "Veltra_PhysicalPort") share.
#pragma once

#include "adapter_tree.h"
#include "class_handlers.h"
#include "handler_pattern.h"
#include "veltra_nic_utils.h"
#include "vtapi.h"

#include "CmpiData.h"
#include "CmpiInstance.h"

#include <cstring>
#include <string>

CmpiObjectPath makePath_Adapter(const char* className, const char* nameSpace, const vtapi_adapter_t* adapter);
CmpiInstance makeInstance_Adapter(const char* className, const char* nameSpace, const char** properties,
                                  vtapi_adapter_t* adapter);
CmpiStatus enumInstanceNames_Adapter(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop);
CmpiStatus enumInstances_Adapter(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                                 const char** properties);
CmpiStatus getInstance_Adapter(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                               const char** properties, bool returnInstance);
// "UpdateFlashFromImageBuffer", "EnableNICPartitioning",
// "DisableNICPartitioning", "SetSRIOVStatus". Never throws: a failure is
// the return value 2 and a failed status carrying the message.
CmpiStatus invokeMethod_Adapter(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& ref,
                                const char* methodName, const CmpiArgs& in, CmpiArgs& out);

// ---- shared by the adapter-level classes ----

// A text field of a library record, cut at the field's size.
template <size_t N>
std::string RecordField(const char (&field)[N])
{
    return std::string(field, strnlen(field, N));
}

inline void SetTextProperty(CmpiInstance& instance, const char* name, const std::string& text)
{
    instance.setProperty(name, CmpiData(text.c_str()));
}

// A property of an adapter instance: the setters are shared by the
// adapter classes, each of which lists them in its own order.
struct AdapterProperty {
    const char* name;
    void (*set)(CmpiInstance& instance, const char* name, const vtapi_adapter_t* adapter);
};
void SetAdapterProperties(CmpiInstance& instance, const vtapi_adapter_t* adapter,
                          const AdapterProperty* properties, size_t count);

// Shared setters.
void SetAdapterSerial(CmpiInstance& i, const char* name, const vtapi_adapter_t* a);
void SetAdapterPCIBus(CmpiInstance& i, const char* name, const vtapi_adapter_t* a);
void SetAdapterModel(CmpiInstance& i, const char* name, const vtapi_adapter_t* a);
void SetManagementFunctionName(CmpiInstance& i, const char* name, const vtapi_adapter_t* a); // partitioned only
void SetChipRevision(CmpiInstance& i, const char* name, const vtapi_adapter_t* a);
void SetSubSystemID(CmpiInstance& i, const char* name, const vtapi_adapter_t* a);
void SetVendorID(CmpiInstance& i, const char* name, const vtapi_adapter_t* a);
void SetSubVendorID(CmpiInstance& i, const char* name, const vtapi_adapter_t* a);
void SetPhysicalPortCount(CmpiInstance& i, const char* name, const vtapi_adapter_t* a);
// A version text of the adapter record, as in {"PXEVersion", SetAdapterVersion<&vtapi_adapter_t::pxe_version>}.
template <char (vtapi_adapter_t::*Field)[VTAPI_VERSION_LEN]>
void SetAdapterVersion(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    SetTextProperty(i, name, RecordField(a->*Field));
}
void SetFeatureMask(CmpiInstance& i, const char* name, const vtapi_adapter_t* a);     // partitioned only
void SetExclusivityMask(CmpiInstance& i, const char* name, const vtapi_adapter_t* a); // partitioned only

// What the methods of the two adapter classes differ in.
struct AdapterMethodClass {
    const char* who;    // "invokeMethod_Adapter", "invokeMethod_NICAdapter"
    bool asyncAndSRIOV; // flags bit 17 and job-numbered staging files; "SetSRIOVStatus"
};
// The methods of an adapter class (see invokeMethod_Adapter).
CmpiStatus InvokeAdapterClassMethod(const AdapterMethodClass& cls, const CmpiContext& ctx, CmpiResult& rslt,
                                    const CmpiObjectPath& ref, const char* methodName, const CmpiArgs& in,
                                    CmpiArgs& out);
