// Field tables and the generic JSON <-> record machinery.
#include "records.h"

#include <arpa/inet.h>

#include <cctype>
#include <cstddef>
#include <cstring>
#include <limits>
#include <string_view>

namespace vtsim {

#define FLD(key, kind, type, member) \
    Field { key, FK::kind, offsetof(type, member), sizeof(((type*)nullptr)->member), 0 }
#define TABLE(name, arr) const FieldTable name = {arr, sizeof(arr) / sizeof(arr[0])}

using Adp = _vtapi_adapter_t;
using Pro = _vtapi_protocol_t;
using Dev = _tagVTAPISDMDevice;
using Tgt = _tagVTAPI_SDMTarget;
using Lu = _tagVTAPI_SDMLun;
using Nic = _vtapi_nic_function_t;
using Portal = _vtapi_iscsi_portal_t;
using ITgt = _VTAPI_HBATGTENTRY;
using ILun = _VTAPI_HBATGTLUNENTRY;

static const Field kAdapter[] = {
    FLD("pci/bus", U16, Adp, pci_bus),
    FLD("pci/vendor_id", U16, Adp, pci_vendor_id),
    FLD("pci/subvendor_id", U16, Adp, pci_subsys_vendor_id),
    FLD("pci/subsystem_id", U16, Adp, pci_subsys_id),
    FLD("model", Text, Adp, model),
    FLD("chip_revision", U32, Adp, chip_revision),
    FLD("versions/active_firmware", Text, Adp, active_fw_version),
    FLD("versions/bios", Text, Adp, flash_bios_version),
    FLD("versions/fcode", Text, Adp, flash_fcode_version),
    FLD("versions/efi", Text, Adp, flash_efi_version),
    FLD("versions/firmware", Text, Adp, flash_fw_version),
    FLD("versions/multiboot", Text, Adp, flash_multiboot_version),
    FLD("versions/pxe", Text, Adp, pxe_version),
    FLD("partitioned", Bool32, Adp, partitioned),
    FLD("management_function", Text, Adp, mgmt_func_name),
    FLD("feature_mask", U32, Adp, feature_mask),
    FLD("exclusivity_mask", U32, Adp, exclusivity_mask),
    FLD("board_id", Text, Adp, board_id),
};
TABLE(kAdapterFields, kAdapter);

static const Field kProtocol[] = {
    FLD("pci/device_id", U16, Pro, pci_device_id),
    FLD("pci/subsystem_id", U16, Pro, pci_subsys_id),
    FLD("pci/vendor_id", U16, Pro, pci_vendor_id),
    FLD("pci/subvendor_id", U16, Pro, pci_subsys_vendor_id),
    FLD("driver_version", Text, Pro, driver_version),
    FLD("firmware_version", Text, Pro, firmware_version),
};
TABLE(kProtocolFields, kProtocol);

#define STAT(name) FLD("fc/stats/" #name, U32, Dev, stats.name)
static const Field kDevice[] = {
    FLD("fc/link_status", U32, Dev, link_status),
    FLD("fc/device_number", U16, Dev, device_number),
    FLD("pci/device_id", U16, Dev, pci_device_id),
    FLD("fc/chip_type", U16, Dev, chip_type_word),
    FLD("pci/subvendor_id", U16, Dev, pci_subsys_vendor_id),
    FLD("pci/subsystem_id", U16, Dev, pci_subsys_device_id),
    FLD("fc/link_state2", U16, Dev, link_state2),
    FLD("fc/link_state3", U16, Dev, link_state3),
    FLD("fc/port_type", U8, Dev, port_type),
    FLD("fc/port_state", U8, Dev, port_state),
    FLD("fc/speed", I32, Dev, current_speed),
    FLD("fc/supported_speed", U8, Dev, supported_speed),
    FLD("fc/port_id", PortId, Dev, port_id),
    FLD("fc/node_wwn", Wwn, Dev, node_wwn),
    FLD("fc/port_wwn", Wwn, Dev, port_wwn),
    FLD("fc/fabric_wwn", Wwn, Dev, principal_fabric_wwn),
    FLD("fc/adjacent_wwn", Wwn, Dev, adjacent_fabric_wwn),
    FLD("fc/model", Text, Dev, model),
    FLD("fc/serial_number", Text, Dev, serial_number),
    FLD("driver_version", Text, Dev, driver_version),
    FLD("firmware_version", Text, Dev, firmware_version),
    FLD("fc/driver_attr", U32, Dev, driver_attr),
    FLD("fc/scm/current_events", U16, Dev, scm_current_events),
    FLD("fc/scm/link_event_type", U16, Dev, scm_link_event_type),
    FLD("fc/scm/link_event_threshold", U32, Dev, scm_link_event_threshold),
    FLD("fc/scm/delivery_reason", U16, Dev, scm_delivery_reason),
    FLD("fc/scm/congestion_event_type", U16, Dev, scm_congestion_event_type),
    FLD("fc/scm/congestion_event_period", U32, Dev, scm_congestion_event_period),
    FLD("fc/scm/congestion_severity", U8, Dev, scm_congestion_severity),
    FLD("fc/scm/fabric_connection_flags", U8, Dev, scm_fabric_connection_flags),
    FLD("fc/scm/current_state", U8, Dev, scm_current_state),
    FLD("fc/scm/link_integrity_events", U8, Dev, scm_link_integrity_events),
    FLD("fc/scm/secs_since_last_event", U32, Dev, scm_secs_since_last_event),
    FLD("fc/scm/delivery_notification_events", U8, Dev, scm_delivery_notification_events),
    FLD("fc/optrom/present", U8, Dev, optrom_present),
    FLD("fc/optrom/fw_major", U8, Dev, fw_major),
    FLD("fc/optrom/fw_minor", U8, Dev, fw_minor),
    FLD("fc/optrom/fw_subminor", U8, Dev, fw_subminor),
    FLD("fc/optrom/efi_major", U8, Dev, efi_major),
    FLD("fc/optrom/efi_minor", U8, Dev, efi_minor),
    FLD("fc/optrom/fcode_major", U8, Dev, fcode_major),
    FLD("fc/optrom/fcode_minor", U8, Dev, fcode_minor),
    FLD("fc/optrom/fcode_subminor", U8, Dev, fcode_subminor),
    FLD("fc/optrom/bios", Text, Dev, optrom_bios_version),
    FLD("fc/enode_mac", Mac, Dev, enode_mac),
    FLD("fc/is_virtual_port", U8, Dev, is_virtual_port),
    FLD("fc/connection_mode", U8, Dev, connection_mode),
    FLD("fc/topology", U8, Dev, topology),
    FLD("fc/capability", U8, Dev, capability),
    FLD("fc/protocol_subsys_id", U16, Dev, protocol_subsys_id),
    FLD("fc/pci_link/max_width", U16, Dev, pci_max_width),
    FLD("fc/pci_link/width", U16, Dev, pci_negotiated_width),
    FLD("fc/pci_link/max_speed", U16, Dev, pci_max_speed),
    FLD("fc/pci_link/speed", U16, Dev, pci_negotiated_speed),
    FLD("fc/bi_valid", U32, Dev, bi_valid),
    STAT(controller_error_count), STAT(device_error_count), STAT(io_count),
    STAT(megabyte_count), STAT(lip_reset_count), STAT(interrupt_count),
    STAT(link_failure_count), STAT(loss_of_sync_count), STAT(loss_of_signal_count),
    STAT(primitive_seq_protocol_error_count), STAT(invalid_transmission_word_count),
    STAT(invalid_crc_count), STAT(delivery_failure_unknown), STAT(delivery_timeout),
    STAT(delivery_unable_to_route), STAT(delivery_failure_device_specific),
    STAT(peer_congestion_clear), STAT(peer_congestion_lost_credit),
    STAT(peer_congestion_credit_stall), STAT(peer_congestion_oversubscription),
    STAT(peer_congestion_device_specific),
    FLD("fc/stats/link_unknown_event", U32, Dev, link_unknown_event),
    FLD("fc/stats/link_device_specific_event", U32, Dev, link_device_specific_event),
    FLD("fc/stats/congestion_alarm", U64, Dev, congestion_alarm),
    FLD("fc/stats/congestion_warning", U64, Dev, congestion_warning),
};
#undef STAT
TABLE(kDeviceFields, kDevice);

static const Field kTarget[] = {
    FLD("node_wwn", Wwn, Tgt, node_wwn),
    FLD("port_wwn", Wwn, Tgt, port_wwn),
    FLD("port_id", PortId, Tgt, port_id),
    FLD("port_type", U8, Tgt, port_type),
    FLD("bus_number", U16, Tgt, bus_number),
    FLD("target_id", U16, Tgt, target_id),
    FLD("port_state", U8, Tgt, port_state),
    FLD("local", U8, Tgt, local),
    FLD("loop_id", U16, Tgt, loop_id),
    FLD("status_byte1", U8, Tgt, status_byte1),
    FLD("link_flags", U8, Tgt, link_flags),
    FLD("status_byte2", U8, Tgt, status_byte2),
    FLD("ext_flags", U8, Tgt, ext_flags),
    FLD("scm/current_events", U16, Tgt, scm_current_events),
    FLD("scm/link_event_type", U16, Tgt, scm_link_event_type),
    FLD("scm/delivery_reason", U16, Tgt, scm_delivery_reason),
    FLD("scm/peer_congestion_event_type", U16, Tgt, scm_peer_congestion_event_type),
    FLD("scm/peer_congestion_event_period", U32, Tgt, scm_peer_congestion_event_period),
    FLD("scm/current_state", U8, Tgt, scm_current_state),
    FLD("scm/link_integrity_events", U8, Tgt, scm_link_integrity_events),
    FLD("scm/secs_since_last_event", U32, Tgt, scm_secs_since_last_event),
    FLD("scm/link_event_threshold", U32, Tgt, scm_link_event_threshold),
    FLD("virtual_lane_state", U8, Tgt, virtual_lane_state),
    FLD("io_throttling", U8, Tgt, io_throttling),
    Field{"peripheral_type", FK::U8, offsetof(Tgt, inquiry_header), 1, 0},
    Field{"inquiry_version", FK::U8, offsetof(Tgt, inquiry_header) + 2, 1, 0},
    FLD("vendor", Fixed, Tgt, vendor_id),
    FLD("product", Fixed, Tgt, product_id),
    FLD("revision", Fixed, Tgt, revision),
    FLD("multipath_control", U8, Tgt, multipath_control),
    FLD("new_multipath_control", U8, Tgt, new_multipath_control),
    FLD("agent_flags", U16, Tgt, agent_flags),
    FLD("flags", U32, Tgt, flags),
    FLD("bind_flags", U32, Tgt, bind_flags),
    FLD("target_loop_id", U16, Tgt, target_loop_id),
    FLD("base_lun_number", U16, Tgt, base_lun_number),
    FLD("ability_flags", U32, Tgt, ability_flags),
    FLD("type", U32, Tgt, type),
    FLD("beacon_control_flags", U32, Tgt, beacon_control_flags),
    FLD("serial_number", Text, Tgt, serial_number),
    FLD("fcsp/role", U8, Tgt, fcsp.role),
    FLD("fcsp/auth_flag", U8, Tgt, fcsp.auth_flag),
    FLD("fcsp/auth_state", U8, Tgt, fcsp.auth_state),
    FLD("fcsp/port_name", Text, Tgt, fcsp.port_name),
    FLD("fcsp/node_name", Text, Tgt, fcsp.node_name),
    FLD("nvme_nqn", Text, Tgt, nvme_nqn),
    FLD("nvme_cntl_id", U16, Tgt, nvme_cntl_id),
    FLD("link_speed", U16, Tgt, link_speed),
};
TABLE(kTargetFields, kTarget);

static const Field kLun[] = {
    FLD("number", U32, Lu, lun_number),
    FLD("data", U8, Lu, data),
    FLD("new_data", U8, Lu, new_data),
    FLD("has_physical_path", U8, Lu, has_physical_path),
    FLD("physical_path", U8, Lu, physical_path),
    Field{"peripheral_type", FK::U8, offsetof(Lu, inquiry_header), 1, 0},
    Field{"inquiry_version", FK::U8, offsetof(Lu, inquiry_header) + 2, 1, 0},
    FLD("vendor", Fixed, Lu, vendor_id),
    FLD("product", Fixed, Lu, product_id),
    FLD("revision", Fixed, Lu, revision),
    FLD("is_current_path", U8, Lu, is_current_path),
    FLD("flags", U8, Lu, lun_flags),
    Field{"wwuln", FK::HexBytes, offsetof(Lu, wwuln), sizeof(Lu::wwuln), offsetof(Lu, wwuln_len)},
    FLD("max_lba", U64, Lu, max_lba),
    FLD("bytes_per_block", U32, Lu, bytes_per_block),
    FLD("os_device_number", U32, Lu, os_device_number),
    FLD("os_device_name", Text, Lu, os_device_name),
    FLD("os_raid_type", U32, Lu, os_raid_type),
    FLD("os_partitions", U32, Lu, os_partitions),
    FLD("on_passive_path", I32, Lu, on_passive_path),
};
TABLE(kLunFields, kLun);

static const Field kNic[] = {
    FLD("current_mac", Mac, Nic, current_mac),
    FLD("permanent_mac", Mac, Nic, permanent_mac),
    FLD("local_admin_mac", Mac, Nic, local_admin_mac),
    FLD("default_mac", Mac, Nic, default_mac),
    FLD("alias", Text, Nic, alias),
    FLD("driver_name", Text, Nic, driver_name),
    FLD("link_speed", U64, Nic, link_speed),
    FLD("link_state", U32, Nic, link_state),
    FLD("link_duplex", U32, Nic, link_duplex),
    FLD("rx_errors", U64, Nic, rx_errors),
    FLD("tx_errors", U64, Nic, tx_errors),
    FLD("pxe_enabled", Bool8, Nic, pxe_enabled),
    FLD("wol_enabled", Bool8, Nic, wol_enabled),
    FLD("flow_control", U32, Nic, flow_control),
    FLD("priority_flow_control", U32, Nic, priority_flow_control),
    FLD("wol_wakeup_events", U64, Nic, wol_wakeup_events),
};
TABLE(kNicFields, kNic);

static const Field kPortal[] = {
    FLD("number_of_bus", U16, Portal, number_of_bus),
    FLD("targets_per_bus", U16, Portal, targets_per_bus),
    FLD("luns_per_target", U16, Portal, luns_per_target),
    FLD("luns_per_target_os", U16, Portal, luns_per_target_os),
    FLD("max_transfer_len", U32, Portal, max_transfer_len),
    FLD("max_data_segments", U32, Portal, max_data_segments),
    FLD("dma_bit_addresses", U16, Portal, dma_bit_addresses),
    FLD("io_map_type", U16, Portal, io_map_type),
    FLD("device_name", Text, Portal, device_name),
    FLD("port_number", U16, Portal, port_number),
    FLD("portal_count", U16, Portal, portal_count),
    FLD("ip", IscsiIp, Portal, ip_addr),
    FLD("iscsi_name", Text, Portal, iscsi_name),
    FLD("alias", Text, Portal, alias),
    FLD("mac", Mac, Portal, mac),
    FLD("state", U16, Portal, state),
    FLD("type", U16, Portal, type),
    FLD("disc_target_count", U16, Portal, disc_target_count),
    FLD("manufacturer", Text, Portal, manufacturer),
    FLD("model", Text, Portal, model),
    FLD("fw_version", Text, Portal, fw_version),
    FLD("optrom_version", Text, Portal, optrom_version),
    FLD("driver_attr", U32, Portal, driver_attr),
    FLD("fw_attr", U32, Portal, fw_attr),
    FLD("iscsi_version", Text, Portal, iscsi_version),
    FLD("dhcp_state", U16, Portal, dhcp_state),
    FLD("link_status", U16, Portal, link_status),
    FLD("flow_control_duplex_link_speed", U16, Portal, flow_control_duplex_link_speed),
};
TABLE(kPortalFields, kPortal);

static const Field kIscsiTarget[] = {
    FLD("in_use", U32, ITgt, in_use),
    FLD("name", Text, ITgt, iscsi_name),
    FLD("target_id", U32, ITgt, target_id),
    FLD("ip", IscsiIp, ITgt, ip_addr),
    FLD("port", U16, ITgt, port_number),
    FLD("device_state", U16, ITgt, device_state),
    FLD("alias", Text, ITgt, alias),
    FLD("session_state", U32, ITgt, session_state),
};
TABLE(kIscsiTargetFields, kIscsiTarget);

static const Field kIscsiLun[] = {
    FLD("number", U16, ILun, lun_num),
    FLD("vendor", Fixed, ILun, vendor),
    FLD("product", Fixed, ILun, prod_id),
    FLD("revision", Fixed, ILun, prod_rev),
    FLD("size_mb", F32, ILun, lun_size),
    FLD("wwuln", HexBytes, ILun, wwuln),
};
TABLE(kIscsiLunFields, kIscsiLun);

#undef FLD
#undef TABLE

// NPAR tables: one NPAR function's JSON onto the records that show it.
#define NF(key, kind, type, member) \
    Field { key, FK::kind, offsetof(type, member), sizeof(((type*)nullptr)->member), 0 }
static const Field kNparCfg[] = {
    NF("capability_mask", U32, vtapi_npar_func_cfg_v2_t, capability_mask),
    NF("min_bw", U32, vtapi_npar_func_cfg_v2_t, min_bw),
    NF("max_bw", U32, vtapi_npar_func_cfg_v2_t, max_bw),
};
static const Field kNparRegion[] = {
    NF("capability_mask", U32, vtapi_npar_region_func_t, capability_mask),
    NF("min_bw", U32, vtapi_npar_region_func_t, min_bw),
    NF("max_bw", U32, vtapi_npar_region_func_t, max_bw),
    NF("port", U32, vtapi_npar_region_func_t, phy_port_index),
    NF("mac", Mac, vtapi_npar_region_func_t, mac),
};
static const Field kNparExt[] = {
    NF("ext/state", U32, vtapi_npar_ext_func_t, state),
    NF("ext/operation_mode", U32, vtapi_npar_ext_func_t, operation_mode),
    NF("min_bw", U32, vtapi_npar_ext_func_t, min_bw),
    NF("max_bw", U32, vtapi_npar_ext_func_t, max_bw),
    NF("ext/max_tx_queues", U32, vtapi_npar_ext_func_t, max_tx_queues),
    NF("ext/max_rx_queues", U32, vtapi_npar_ext_func_t, max_rx_queues),
    NF("ext/function_type", U32, vtapi_npar_ext_func_t, function_type),
    NF("mac", Mac, vtapi_npar_ext_func_t, default_mac),
};
static const Field kEsw[] = {
    NF("port", U32, vtapi_esw_func_v2_t, eswitch_index),
    NF("esw/tx_mcast_replication", U32, vtapi_esw_func_v2_t, tx_mcast_replication),
    NF("esw/rx_mcast_replication", U32, vtapi_esw_func_v2_t, rx_mcast_replication),
    NF("esw/max_unicast_filters", U32, vtapi_esw_func_v2_t, max_unicast_filters),
    NF("esw/max_active_vlans", U32, vtapi_esw_func_v2_t, max_active_vlans),
    NF("esw/ivlan_id", U32, vtapi_esw_func_v2_t, prop.ivlan_id),
    NF("esw/ovlan_id", U32, vtapi_esw_func_v2_t, prop.ovlan_id),
    NF("esw/anti_spoof_chk", U32, vtapi_esw_func_v2_t, prop.anti_spoof_chk),
    NF("esw/prop_data1", U32, vtapi_esw_func_v2_t, prop.prop_data1),
    NF("esw/mac_addr_change", U32, vtapi_esw_func_v2_t, policy.mac_addr_change),
    NF("esw/host_vlan_tag", U32, vtapi_esw_func_v2_t, policy.host_vlan_tag),
    NF("esw/promisc_mode", U32, vtapi_esw_func_v2_t, policy.promisc_mode),
    NF("esw/vlan_filter", U32, vtapi_esw_func_v2_t, policy.vlan_filter),
    NF("esw/vlan_strip", U32, vtapi_esw_func_v2_t, policy.vlan_strip),
    NF("esw/offload_flags", U32, vtapi_esw_func_v2_t, policy.offload_flags),
    NF("esw/policy_data1", U32, vtapi_esw_func_v2_t, policy.policy_data1),
    NF("esw/policy_datap", U32, vtapi_esw_func_v2_t, policy.policy_datap),
};
#define ESWSTAT(n) NF("esw_stats/" #n, U64, vtapi_esw_stats_t, n)
static const Field kEswStats[] = {
    ESWSTAT(rx_unicast_frames), ESWSTAT(rx_multicast_frames), ESWSTAT(rx_broadcast_frames),
    ESWSTAT(rx_dropped_frames), ESWSTAT(rx_errors), ESWSTAT(rx_loopback_frames),
    ESWSTAT(rx_bytes), ESWSTAT(tx_unicast_frames), ESWSTAT(tx_multicast_frames),
    ESWSTAT(tx_broadcast_frames), ESWSTAT(tx_dropped_frames), ESWSTAT(tx_errors),
    ESWSTAT(tx_loopback_frames), ESWSTAT(tx_bytes),
};
static const Field kMirror[] = {
    NF("valid", U32, vtapi_port_mirror_t, valid),
    NF("action", U32, vtapi_port_mirror_t, action),
    NF("source", I32, vtapi_port_mirror_t, source),
    NF("destination", U32, vtapi_port_mirror_t, destination),
};
#undef ESWSTAT
#undef NF
#define TBL(name, a) const FieldTable name = {a, sizeof(a) / sizeof(a[0])}
TBL(kNparCfgFields, kNparCfg);
TBL(kNparRegionFields, kNparRegion);
TBL(kNparExtFields, kNparExt);
TBL(kEswFields, kEsw);
TBL(kEswStatsFields, kEswStats);
TBL(kMirrorFields, kMirror);
#undef TBL

const std::vector<std::string>& ethStatNames() {
    // Record order of vtapi_eth_stats_t; "[8]" marks a per-priority array.
    static const char* const kNames[] = {
        "txPkts", "txOctets", "txMulticastPkts", "txBroadcastPkts", "txUnicastPkts",
        "txControlPkts", "txPausePkts", "txPkts64Octets", "txPkts65to127Octets",
        "txPkts128to255Octets", "txPkts256to511Octets", "txPkts512to1023Octets",
        "txPkts1024to1518Octets", "txPkts1519toMaxOctets", "txUndersizePkts",
        "txOversizePkts", "rxOctets", "rxOctetsOK", "rxPkts", "rxPktsOK", "rxBroadcastPkts",
        "rxMulticastPkts", "rxUnicastPkts", "rxUndersizePkts", "rxOversizePkts",
        "rxJabberPkts", "rxUndersizeFCSerrorPkts", "rxDropEvents", "rxFCSerrorPkts",
        "rxAlignError", "rxLengthError", "rxSymbolError", "rxInternalMACError",
        "rxPkts64Octets", "rxPkts65to127Octets", "rxPkts128to255Octets",
        "rxPkts256to511Octets", "rxPkts512to1023Octets", "rxPkts1024to1518Octets",
        "rxPkts1519toMaxOctets", "rxControlPkts", "rxPausePkts", "txCBFCPauseFrames[8]",
        "txFCoEPkts", "txMgmtPkts", "rxCBFCPauseFrames[8]", "rxFCoEPkts", "rxMgmtPkts",
        "rxNICfifoDrop", "rxFCoEfifoDrop", "rxMgmtfifoDrop", "rxPktsPriority[8]",
        "txPktsPriority[8]", "rxPktsDiscardPriority[8]", "txCalled", "rxError", "txError",
        "csummed", "rxLroFrames", "rxBytes", "txBytes", "rxLroBytes", "lsoTxOk", "xmitOn",
        "xmitOff", "skbAllocFailure", "nullRxBuf", "rxDmaMapError", "txDmaMapError",
        "lroSessions", "txFramesUcast", "txFramesMcast", "txFramesBcast", "txBytesUcast",
        "txBytesMcast", "txBytesBcast", "txOk", "txErrorCnt", "AvgTxBF", "rxFramesUcast",
        "rxFramesMcast", "rxFramesBcast", "rxBytesUcast", "rxBytesMcast", "rxBytesBcast",
        "rxOk", "rxErrorCnt", "AvgRxBF", "rxErrorResource", "AvgLroBF"};
    static const std::vector<std::string> names = [] {
        std::vector<std::string> v;
        for (const char* n : kNames) {
            std::string s(n);
            size_t br = s.find("[8]");
            if (br == std::string::npos) {
                v.push_back(s);
                continue;
            }
            for (int i = 0; i < 8; ++i) v.push_back(s.substr(0, br) + "[" + std::to_string(i) + "]");
        }
        return v;
    }();
    static_assert(sizeof(_vtapi_eth_stats_t) % sizeof(uint64_t) == 0, "eth stats are uint64 counters");
    return names;
}

const json* at(const json& obj, const char* path) {
    const json* cur = &obj;
    const char* seg = path;
    for (const char* p = path;; ++p) {
        if (*p != '/' && *p != '\0') continue;
        if (!cur->is_object()) return nullptr;
        auto it = cur->find(std::string_view(seg, static_cast<size_t>(p - seg)));
        if (it == cur->end()) return nullptr;
        cur = &*it;
        if (*p == '\0') break;
        seg = p + 1;
    }
    return cur;
}

// ---- text forms -----------------------------------------------------------

static int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

// Hex bytes, optionally separated by ':', '-' or a blank between bytes.
bool parseHex(const std::string& s, std::vector<uint8_t>& out) {
    out.clear();
    size_t i = 0;
    while (i < s.size()) {
        if (i + 1 >= s.size()) return false;
        int hi = hexDigit(s[i]), lo = hexDigit(s[i + 1]);
        if (hi < 0 || lo < 0) return false;
        out.push_back(static_cast<uint8_t>(hi * 16 + lo));
        i += 2;
        if (i < s.size() && (s[i] == ':' || s[i] == '-' || s[i] == ' ')) {
            if (i + 1 == s.size()) return false;
            ++i;
        }
    }
    return true;
}

static bool parseFixedHex(const std::string& s, uint8_t* out, size_t n) {
    std::vector<uint8_t> b;
    if (!parseHex(s, b) || b.size() != n) return false;
    std::memcpy(out, b.data(), n);
    return true;
}

bool parseWwn(const std::string& s, uint8_t out[8]) { return parseFixedHex(s, out, 8); }
bool parseMac(const std::string& s, uint8_t out[6]) { return parseFixedHex(s, out, 6); }

static std::string joinHex(const uint8_t* b, size_t n) {
    std::string s(n ? 3 * n - 1 : 0, ':');
    for (size_t i = 0; i < n; ++i) {
        s[3 * i] = "0123456789abcdef"[b[i] >> 4];
        s[3 * i + 1] = "0123456789abcdef"[b[i] & 15];
    }
    return s;
}
std::string wwnText(const uint8_t w[8]) { return joinHex(w, 8); }
std::string macText(const uint8_t m[6]) { return joinHex(m, 6); }

int parseIp(const std::string& s, uint8_t out[16]) {
    std::memset(out, 0, 16);
    if (inet_pton(AF_INET, s.c_str(), out) == 1) return 1;
    if (inet_pton(AF_INET6, s.c_str(), out) == 1) return 2;
    return 0;
}

// ---- check and fill -------------------------------------------------------------

static const char* typeName(const json& v) { return v.type_name(); }

static bool checkOne(const json& v, const Field& f, std::string& why) {
    auto intIn = [&](long double lo, long double hi) {
        if (!v.is_number_integer()) {
            why = std::string("expected an integer, got ") + (v.is_number() ? "a fraction" : typeName(v));
            return false;
        }
        long double x = v.is_number_unsigned() ? static_cast<long double>(v.get<uint64_t>())
                                               : static_cast<long double>(v.get<int64_t>());
        if (x < lo || x > hi) {
            why = v.dump() + " is out of range";
            return false;
        }
        return true;
    };
    auto text = [&]() {
        if (!v.is_string()) {
            why = std::string("expected a string, got ") + typeName(v);
            return false;
        }
        return true;
    };
    uint8_t tmp[16];
    std::vector<uint8_t> bytes;
    switch (f.kind) {
        case FK::U8: return intIn(0, 0xff);
        case FK::U16: return intIn(0, 0xffff);
        case FK::U32: return intIn(0, 0xffffffffu);
        case FK::U64: return intIn(0, static_cast<long double>(std::numeric_limits<uint64_t>::max()));
        case FK::I32: return intIn(std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max());
        case FK::F32:
            if (v.is_number()) return true;
            why = std::string("expected a number, got ") + typeName(v);
            return false;
        case FK::Bool8:
        case FK::Bool32:
            if (v.is_boolean() || (v.is_number_integer() && (v == 0 || v == 1))) return true;
            why = std::string("expected true or false, got ") + v.dump();
            return false;
        case FK::Text:
        case FK::Fixed: return text();
        case FK::Wwn:
            if (!text()) return false;
            if (parseWwn(v.get<std::string>(), tmp)) return true;
            why = "not a WWN (" + v.dump() + ")";
            return false;
        case FK::Mac:
            if (!text()) return false;
            if (parseMac(v.get<std::string>(), tmp)) return true;
            why = "not a MAC address (" + v.dump() + ")";
            return false;
        case FK::PortId:
            if (!text()) return false;
            if (parseFixedHex(v.get<std::string>(), tmp, 3)) return true;
            why = "not a 3-byte port ID (" + v.dump() + ")";
            return false;
        case FK::HexBytes:
            if (!text()) return false;
            if (!parseHex(v.get<std::string>(), bytes)) {
                why = "not hex bytes (" + v.dump() + ")";
                return false;
            }
            if (bytes.size() > f.size) {
                why = "longer than " + std::to_string(f.size) + " bytes";
                return false;
            }
            return true;
        case FK::IscsiIp:
            if (!text()) return false;
            if (v.get<std::string>().empty() || parseIp(v.get<std::string>(), tmp)) return true;
            why = "not an IP address (" + v.dump() + ")";
            return false;
    }
    return true;
}

bool checkFields(const json& obj, const FieldTable& t, const std::string& path, std::string& err) {
    for (size_t i = 0; i < t.count; ++i) {
        const Field& f = t.fields[i];
        const json* v = at(obj, f.key);
        if (!v || v->is_null()) continue;
        std::string why;
        if (!checkOne(*v, f, why)) {
            std::string key = f.key;
            for (char& c : key)
                if (c == '/') c = '.';
            err = path + (path.empty() ? "" : ".") + key + ": " + why;
            return false;
        }
    }
    return true;
}

template <typename T>
static void put(uint8_t* p, T v) {
    std::memcpy(p, &v, sizeof v);
}

// Text kinds: NUL-terminated and cut, blank-padded, and counted bytes.
static void putText(uint8_t* p, size_t size, std::string_view s) {
    std::memset(p, 0, size);
    std::memcpy(p, s.data(), std::min(s.size(), size - 1));
}
static void putFixed(uint8_t* p, size_t size, std::string_view s) {
    std::memset(p, ' ', size);
    std::memcpy(p, s.data(), std::min(s.size(), size));
}
static void putBytes(uint8_t* base, const Field& f, const uint8_t* bytes, size_t count) {
    size_t n = std::min(count, f.size);
    std::memset(base + f.off, 0, f.size);
    if (n) std::memcpy(base + f.off, bytes, n);
    if (f.off2) put(base + f.off2, static_cast<uint16_t>(n));
}

void fillFields(void* rec, const json& obj, const FieldTable& t) {
    auto* base = static_cast<uint8_t*>(rec);
    for (size_t i = 0; i < t.count; ++i) {
        const Field& f = t.fields[i];
        const json* v = at(obj, f.key);
        if (!v || v->is_null()) continue;
        // Values were checked at load; operation code may have changed them
        // since, so every write still tests the JSON kind it reads.
        bool isNum = v->is_number_integer() || v->is_boolean();
        bool isText = v->is_string();
        uint8_t* p = base + f.off;
        auto num = [&]() -> uint64_t {
            return v->is_boolean() ? (v->get<bool>() ? 1 : 0)
                                   : (v->is_number_unsigned() ? v->get<uint64_t>()
                                                              : static_cast<uint64_t>(v->get<int64_t>()));
        };
        switch (f.kind) {
            case FK::U8:
            case FK::Bool8: if (isNum) put(p, static_cast<uint8_t>(num())); break;
            case FK::U16: if (isNum) put(p, static_cast<uint16_t>(num())); break;
            case FK::U32:
            case FK::Bool32: if (isNum) put(p, static_cast<uint32_t>(num())); break;
            case FK::U64: if (isNum) put(p, num()); break;
            case FK::I32: if (isNum) put(p, static_cast<int32_t>(num())); break;
            case FK::F32: if (v->is_number()) put(p, v->get<float>()); break;
            default:
                if (!isText) continue;
                break;
        }
        switch (f.kind) {
            case FK::Text: putText(p, f.size, v->get_ref<const std::string&>()); break;
            case FK::Fixed: putFixed(p, f.size, v->get_ref<const std::string&>()); break;
            case FK::Wwn:
            case FK::Mac:
            case FK::PortId: {
                uint8_t tmp[8];
                if (f.size <= sizeof tmp && parseFixedHex(v->get<std::string>(), tmp, f.size))
                    std::memcpy(p, tmp, f.size);
                break;
            }
            case FK::HexBytes: {
                std::vector<uint8_t> b;
                if (!parseHex(v->get<std::string>(), b)) break;
                putBytes(base, f, b.data(), b.size());
                break;
            }
            case FK::IscsiIp: {
                VTAPI_ISCSIIPADDR a{};
                a.type = static_cast<uint16_t>(parseIp(v->get<std::string>(), a.addr));
                std::memcpy(p, &a, std::min(sizeof a, f.size));
                break;
            }
            default: break;   // numbers: written above
        }
    }
}

const Field* findField(const FieldTable& t, std::string_view key) {
    for (size_t i = 0; i < t.count; ++i)
        if (key == t.fields[i].key) return &t.fields[i];
    return nullptr;
}

bool isTextField(FK kind) { return kind >= FK::Text; }

// True when the value at a '/'-separated path, or a group on the way to it, is null.
static bool nullAt(const json& obj, const char* path) {
    const json* cur = &obj;
    const char* seg = path;
    for (const char* p = path;; ++p) {
        if (*p != '/' && *p != '\0') continue;
        if (!cur->is_object()) return false;
        auto it = cur->find(std::string_view(seg, static_cast<size_t>(p - seg)));
        if (it == cur->end()) return false;
        if (it->is_null()) return true;
        if (*p == '\0') return false;
        cur = &*it;
        seg = p + 1;
    }
}

void clearNullFields(void* rec, const json& obj, const FieldTable& t) {
    for (size_t i = 0; i < t.count; ++i) {
        const Field& f = t.fields[i];
        if (!nullAt(obj, f.key)) continue;
        std::memset(static_cast<uint8_t*>(rec) + f.off, 0, f.size);
        if (f.kind == FK::HexBytes && f.off2) put(static_cast<uint8_t*>(rec) + f.off2, uint16_t{0});
    }
}

void defaultTargetWwn(uint32_t seq, bool port, uint8_t out[8]) {
    const uint8_t w[8] = {0x50, 0x06, 0x0e, 0x80, 0x10, static_cast<uint8_t>(seq >> 8), static_cast<uint8_t>(seq),
                          static_cast<uint8_t>(port ? 0x01 : 0x00)};
    std::memcpy(out, w, sizeof w);
}

void fillTarget(_tagVTAPI_SDMTarget* r, const Target& t) {
    // Everything before the LUN list and the link is the target's own.
    std::memset(r, 0, offsetof(Tgt, luns));
    const uint32_t ti = t.index, s = t.seq;
    defaultTargetWwn(s, false, r->node_wwn);
    defaultTargetWwn(s, true, r->port_wwn);
    r->port_id[0] = static_cast<uint8_t>(0x0a + t.portIndex);
    r->port_id[1] = static_cast<uint8_t>(0x20 + ti);
    r->port_type = 5;
    r->target_id = static_cast<uint16_t>(ti);
    r->port_state = 1;
    r->loop_id = r->target_loop_id = static_cast<uint16_t>(0x81 + ti);
    r->status_byte1 = VTAPI_TGT_STATUS1_ONLINE;
    r->link_flags = VTAPI_TGT_LINK_FLAG_VALID;
    r->status_byte2 = VTAPI_TGT_STATUS2_READY;
    r->inquiry_header[2] = 6;   // inquiry version
    auto* base = reinterpret_cast<uint8_t*>(r);
    putFixed(base + offsetof(Tgt, vendor_id), sizeof r->vendor_id, "ACME");
    putFixed(base + offsetof(Tgt, product_id), sizeof r->product_id, "FlashArray");
    putFixed(base + offsetof(Tgt, revision), sizeof r->revision, "6100");
    std::snprintf(r->serial_number, sizeof r->serial_number, "ACME%06u", s);
    r->fcsp.role = 1;
    putText(reinterpret_cast<uint8_t*>(r->fcsp.port_name), sizeof r->fcsp.port_name, wwnText(r->port_wwn));
    putText(reinterpret_cast<uint8_t*>(r->fcsp.node_name), sizeof r->fcsp.node_name, wwnText(r->node_wwn));
    r->link_speed = static_cast<uint16_t>(t.speed);
    if (t.data.is_object() && !t.data.empty()) {
        clearNullFields(r, t.data, kTargetFields);
        fillFields(r, t.data, kTargetFields);
    }
}

_tagVTAPI_SDMTarget targetRecord(const Target& t) {
    _tagVTAPI_SDMTarget r{};
    fillTarget(&r, t);
    return r;
}

void fillLun(_tagVTAPI_SDMLun* r, const Lun& l, const _tagVTAPI_SDMTarget& target) {
    static_assert(sizeof r->vendor_id == sizeof target.vendor_id && sizeof r->product_id == sizeof target.product_id &&
                      sizeof r->revision == sizeof target.revision,
                  "a LUN's inquiry texts are its target's");
    const uint32_t li = l.index, s = l.seq;
    r->lun_number = li;
    r->data = 1;
    r->new_data = 0;
    r->has_physical_path = 1;
    r->physical_path = 0;
    r->inquiry_header[0] = 0;   // peripheral type
    r->inquiry_header[2] = 6;   // inquiry version
    auto* base = reinterpret_cast<uint8_t*>(r);
    static const Field* const kWwuln = findField(kLunFields, "wwuln");
    std::memcpy(r->vendor_id, target.vendor_id, sizeof r->vendor_id);
    std::memcpy(r->product_id, target.product_id, sizeof r->product_id);
    std::memcpy(r->revision, target.revision, sizeof r->revision);
    r->is_current_path = 1;
    r->lun_flags = 0;
    const uint8_t naa[16] = {0x60, 0x06, 0x0e, 0x80, 0x00, 0x1f, 0xee, static_cast<uint8_t>(s >> 16),
                             static_cast<uint8_t>(s >> 8), static_cast<uint8_t>(s), 0, 0, 0, 0, 0,
                             static_cast<uint8_t>(li)};
    putBytes(base, *kWwuln, naa, sizeof naa);
    r->max_lba = 209715199 + uint64_t{li} * 1048576;
    r->bytes_per_block = 512;
    r->os_device_number = s;
    char name[4 + 2 * sizeof naa + 1] = "naa.";
    for (size_t i = 0; i < sizeof naa; ++i) {
        name[4 + 2 * i] = "0123456789abcdef"[naa[i] >> 4];
        name[5 + 2 * i] = "0123456789abcdef"[naa[i] & 15];
    }
    name[sizeof name - 1] = '\0';
    putText(reinterpret_cast<uint8_t*>(r->os_device_name), sizeof r->os_device_name, name);
    r->os_raid_type = 0;
    r->os_partitions = 1;
    r->on_passive_path = 0;
    if (l.data.is_object()) {
        clearNullFields(r, l.data, kLunFields);
        fillFields(r, l.data, kLunFields);
    }
}

}  // namespace vtsim
