// "VeltraNIC_Port": identity and link of every Ethernet (NIC) function,
// keyed by its interface name.
#include "class_registry.h"
#include "handler_pattern.h"
#include "helpers.h"
#include "nic_functions.h"
#include "npar_ops.h"
#include "property_table.h"
#include "vtapi.h"

#include "CmpiData.h"

namespace {

ClassProperties kPortProperties("VeltraNIC_Port");

const PropertyTable<NICFunction> kPortTable(kPortProperties, {
    Computed<NICFunction>("InstanceID", CMPI_string,
                          [](const NICFunction& f, PropertyValue& v) {
                              v.setText(NICFunctionName(f.fn));
                              return true;
                          }),
    Computed<NICFunction>("SerialNumber", CMPI_string,
                          [](const NICFunction& f, PropertyValue& v) {
                              v.setText(AdapterSerial(f.adapter));
                              return true;
                          }),
    Computed<NICFunction>("ManagementFunctionName", CMPI_string,
                          [](const NICFunction& f, PropertyValue& v) {
                              v.setText(NICFunctionName(f.fn));
                              return true;
                          }),
    Computed<NICFunction>("MACAddress", CMPI_string,
                          [](const NICFunction& f, PropertyValue& v) {
                              v.setText(MACAddressToString2(f.fn->nic.permanent_mac.addr));
                              return true;
                          }),
    Computed<NICFunction>("PortNumber", CMPI_uint8,
                          [](const NICFunction& f, PropertyValue& v) {
                              v = CmpiData(static_cast<CMPIUint8>(f.port->port_number));
                              return true;
                          }),
    // Inverted on purpose, as the Ethernet port class shows it: 0 is "up".
    Computed<NICFunction>("LinkStatus", CMPI_sint32,
                          [](const NICFunction& f, PropertyValue& v) {
                              v = CmpiData(static_cast<CMPISint32>(f.fn->nic.link_state == 1 ? 0 : 1));
                              return true;
                          }),
});

CmpiInstance makeInstance_Port(const RequestClass& rc, const char** properties, const NICFunction& f)
{
    CmpiInstance instance = NICFunctionClass::instance(rc, properties, f);
    (void)VTAPI_RefreshLinkProps(f.adapter);
    kPortTable.build(instance, f);
    return instance;
}

VELTRA_FUNCTION_CLASS_HANDLERS(NICFunctionClass, Port)

} // namespace

VELTRA_CLASS_FAMILY(NICPort, "VeltraNIC_Port",
                    (ClassHandlers{enumInstanceNames_Port, enumInstances_Port, getInstance_Port, nullptr,
                                   nullptr, nullptr}),
                    &kPortProperties);
