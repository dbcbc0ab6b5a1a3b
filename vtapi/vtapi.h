/*
 * vtapi.h - interface of the Veltra adapter-management library (libvtapi.so).
 *
 * The library keeps a tree of adapters, physical ports and protocol
 * functions and exports the VTAPI_* operations that read and change them.
 * Callers walk the tree read-only; every node belongs to the library.
 *
 * Naming: each record has the tag the library has always used
 * (struct _vtapi_adapter_t, struct _tagVTAPISDMDevice, ...) and one typedef
 * whose name is the tag without its leading "_" / "_tag"
 * (vtapi_adapter_t, VTAPISDMDevice, VTAPI_SDMTarget, ...); the address
 * records also have the upper-case names VTAPI_IPADDR and VTAPI_MACADDR.
 *
 * List headers: every linked list of the tree is reached through a small
 * header whose first member is the node count and whose second member is
 * the first node.
 *
 * Results: every operation returns VTAPI_STATUS (0 = success) unless noted.
 * Buffers that an operation allocates for the caller are released with
 * VTAPI_FreeMem.
 *
 * Where the record layouts below were not fixed by the library's history,
 * the chosen layout is noted in a comment; the fields callers rely on are
 * at the places and widths they have always had.
 */
#ifndef VTAPI_H
#define VTAPI_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------ */
/* Result codes                                                         */
/* ------------------------------------------------------------------ */

typedef uint32_t VTAPI_STATUS;

#define VTAPI_STATUS_OK                ((VTAPI_STATUS)0)
#define VTAPI_STATUS_BAD               ((VTAPI_STATUS)1)  /* generic failure */
#define VTAPI_STATUS_INVALID_PARAM     ((VTAPI_STATUS)2)  /* null or out-of-range argument */
#define VTAPI_STATUS_NOT_SUPPORTED     ((VTAPI_STATUS)3)  /* function or chip cannot do it */
#define VTAPI_STATUS_NO_MEMORY         ((VTAPI_STATUS)4)
#define VTAPI_STATUS_NOT_FOUND         ((VTAPI_STATUS)5)  /* no such device, target, file */
#define VTAPI_STATUS_WRITE_FAILED      ((VTAPI_STATUS)6)  /* flash / NVRAM write failed */
#define VTAPI_STATUS_BUSY              ((VTAPI_STATUS)7)  /* another operation is running */
#define VTAPI_STATUS_NOT_INITIALIZED   ((VTAPI_STATUS)8)  /* VTAPI_Initialize not called */
#define VTAPI_STATUS_READ_FAILED       ((VTAPI_STATUS)9)  /* flash / NVRAM read failed */
#define VTAPI_STATUS_TIMEOUT           ((VTAPI_STATUS)10)
#define VTAPI_STATUS_UNKNOWN           ((VTAPI_STATUS)11)  /* the library cannot tell */

/* ------------------------------------------------------------------ */
/* Sizes                                                                */
/* ------------------------------------------------------------------ */

#define VTAPI_NAME_LEN        128  /* adapter names, interface names, models */
#define VTAPI_VERSION_LEN     64   /* version texts */
#define VTAPI_WWN_LEN         8
#define VTAPI_MAC_LEN         6
#define VTAPI_MAX_NPAR_FUNCS  16
#define VTAPI_ISCSI_MAX_TARGETS 512 /* slots of an iSCSI target table */
#define VTAPI_ISCSI_NAME_LEN  224
#define VTAPI_VPD_SIZE        512  /* what callers offer VTAPI_GetVpd */

/* Protocol types of _vtapi_protocol_t.protocol_type. */
enum {
    VTAPI_PROTOCOL_FC = 0,
    VTAPI_PROTOCOL_FCOE = 1,
    VTAPI_PROTOCOL_NIC = 2,
    VTAPI_PROTOCOL_ISCSI = 3
};

/* Adapter kinds of _vtapi_adapter_t.kind; anything else is a CNA. */
enum {
    VTAPI_ADAPTER_NIC = 1,
    VTAPI_ADAPTER_FC = 2,
    VTAPI_ADAPTER_ISCSI = 3,
    VTAPI_ADAPTER_CNA = 4
};

/* ------------------------------------------------------------------ */
/* Addresses                                                            */
/* ------------------------------------------------------------------ */

/* MAC address, 6 bytes. */
typedef struct _vtapi_macaddr {
    uint8_t addr[VTAPI_MAC_LEN];
} vtapi_macaddr, VTAPI_MACADDR;

/* IP address record, 24 bytes: IPv4 in addr[0..3], network order. */
typedef struct _vtapi_ipaddr {
    uint8_t addr[16];
    uint32_t type;          /* 1 = IPv4, 2 = IPv6 */
    uint8_t prefix_len;     /* 0 = none */
    uint8_t reserved[3];
} vtapi_ipaddr, VTAPI_IPADDR;

/* iSCSI address record: 16 address bytes, then a 16-bit type. */
typedef struct _VTAPI_ISCSIIPADDR {
    uint8_t addr[16];
    uint16_t type;          /* 1 = IPv4, 2 = IPv6 */
} VTAPI_ISCSIIPADDR;

/* ------------------------------------------------------------------ */
/* FC targets and LUNs (owned by the library, reached from the device)  */
/* ------------------------------------------------------------------ */

typedef struct _tagVTAPI_SDMLun {
    uint32_t lun_number;            /* first field */
    uint8_t data;
    uint8_t new_data;
    uint8_t has_physical_path;
    uint8_t physical_path;
    uint8_t inquiry_header[8];      /* byte 0 low 5 bits: peripheral type */
    char vendor_id[8];              /* not terminated */
    char product_id[16];            /* not terminated */
    char revision[4];               /* not terminated */
    uint8_t is_current_path;
    uint8_t lun_flags;
    uint16_t wwuln_len;             /* bytes used in wwuln */
    uint8_t wwuln[64];              /* world-wide unique LUN name */
    uint64_t max_lba;
    uint32_t bytes_per_block;
    uint32_t os_device_number;
    char os_device_name[VTAPI_NAME_LEN];
    uint32_t os_raid_type;
    uint32_t os_partitions;
    int32_t on_passive_path;
    struct _tagVTAPI_SDMLun *next;
} VTAPI_SDMLun;

typedef struct _vtapi_lun_list_t {
    uint32_t count;
    struct _tagVTAPI_SDMLun *first;
} vtapi_lun_list_t;

/* Target flag bits read by callers (status_byte1, link_flags, status_byte2). */
#define VTAPI_TGT_STATUS1_ONLINE   0x40  /* bit 6 of status_byte1 */
#define VTAPI_TGT_LINK_FLAG_VALID  0x02  /* bit 1 of link_flags */
#define VTAPI_TGT_STATUS2_READY    0x01  /* bit 0 of status_byte2 */
#define VTAPI_TGT_EXT_NVME         0x08  /* bit 3 of ext_flags */

/* FC-SP security state of a remote port. */
typedef struct _vtapi_fcsp_state_t {
    uint8_t role;                   /* 1 target, 2 initiator */
    uint8_t auth_flag;
    uint8_t auth_state;
    uint8_t reserved;
    char port_name[32];             /* WWN texts this state belongs to */
    char node_name[32];
} vtapi_fcsp_state_t;

typedef struct _tagVTAPI_SDMTarget {
    uint8_t node_wwn[VTAPI_WWN_LEN];   /* node WWN followed by port WWN */
    uint8_t port_wwn[VTAPI_WWN_LEN];
    uint8_t port_id[3];
    uint8_t port_type;
    uint16_t bus_number;
    uint16_t target_id;
    uint8_t port_state;
    uint8_t local;
    uint16_t loop_id;
    uint8_t status_byte1;           /* bit 6: flag A */
    uint8_t link_flags;             /* bit 1: flag B */
    uint8_t status_byte2;           /* bit 0: flag C */
    uint8_t ext_flags;              /* bit 3: NVMe target */
    /* SCM values of the remote port */
    uint16_t scm_current_events;
    uint16_t scm_link_event_type;
    uint16_t scm_delivery_reason;
    uint16_t scm_peer_congestion_event_type;
    uint32_t scm_peer_congestion_event_period;
    uint8_t scm_current_state;
    uint8_t scm_link_integrity_events;
    uint8_t virtual_lane_state;
    uint8_t io_throttling;
    uint32_t scm_secs_since_last_event;
    uint32_t scm_link_event_threshold;
    /* SCSI inquiry data */
    uint8_t inquiry_header[8];
    char vendor_id[8];
    char product_id[16];
    char revision[4];
    uint8_t multipath_control;
    uint8_t new_multipath_control;
    uint16_t agent_flags;
    uint32_t flags;
    uint32_t bind_flags;
    uint16_t target_loop_id;
    uint16_t base_lun_number;
    uint32_t ability_flags;
    uint32_t type;
    uint32_t beacon_control_flags;
    char serial_number[32];         /* product serial from inquiry page 0x80 */
    vtapi_fcsp_state_t fcsp;
    char nvme_nqn[224];             /* NVMe qualified name */
    uint16_t nvme_cntl_id;
    uint16_t link_speed;            /* per-target (iiDMA) speed code */
    vtapi_lun_list_t *luns;         /* may be null */
    struct _tagVTAPI_SDMTarget *next;
} VTAPI_SDMTarget;

typedef struct _vtapi_target_list_t {
    uint32_t count;
    struct _tagVTAPI_SDMTarget *first;
} vtapi_target_list_t;

/* ------------------------------------------------------------------ */
/* FC device record, held inside each protocol record                   */
/* ------------------------------------------------------------------ */

/* Option-ROM presence bits of _tagVTAPISDMDevice.optrom_present. */
#define VTAPI_OPTROM_FW    0x01
#define VTAPI_OPTROM_EFI   0x02
#define VTAPI_OPTROM_FCODE 0x04

/* Capability bits of _tagVTAPISDMDevice.capability. */
#define VTAPI_DEVCAP_DPORT_V2  0x20  /* second-generation D-Port test */

/* Driver attribute bits carrying congestion-management (SCM) support. */
#define VTAPI_DRVATTR_SCM      (1u << 23)
#define VTAPI_DRVATTR_SCM_EXT  (1u << 26)

/* Statistics block: 21 consecutive 32-bit counters. */
typedef struct _vtapi_fc_stats_t {
    uint32_t controller_error_count;
    uint32_t device_error_count;
    uint32_t io_count;
    uint32_t megabyte_count;
    uint32_t lip_reset_count;
    uint32_t interrupt_count;
    uint32_t link_failure_count;
    uint32_t loss_of_sync_count;
    uint32_t loss_of_signal_count;
    uint32_t primitive_seq_protocol_error_count;
    uint32_t invalid_transmission_word_count;
    uint32_t invalid_crc_count;
    uint32_t delivery_failure_unknown;
    uint32_t delivery_timeout;
    uint32_t delivery_unable_to_route;
    uint32_t delivery_failure_device_specific;
    uint32_t peer_congestion_clear;
    uint32_t peer_congestion_lost_credit;
    uint32_t peer_congestion_credit_stall;
    uint32_t peer_congestion_oversubscription;
    uint32_t peer_congestion_device_specific;
} vtapi_fc_stats_t;

typedef struct _tagVTAPISDMDevice {
    uint32_t link_status;           /* first value of the record */
    uint32_t instance;              /* library's instance (HBA) number */
    uint16_t device_number;
    uint16_t pci_device_id;
    uint16_t chip_type_word;
    uint16_t pci_subsys_vendor_id;
    uint16_t pci_subsys_device_id;
    uint16_t link_state2;
    uint16_t link_state3;
    uint8_t port_type;              /* library code 0..9 */
    uint8_t port_state;             /* 1 ok, 2 suspended, 3 loop down */
    int32_t current_speed;          /* Gb/s */
    uint8_t supported_speed;        /* bit mask */
    uint8_t port_id[3];
    uint8_t node_wwn[VTAPI_WWN_LEN];
    uint8_t port_wwn[VTAPI_WWN_LEN];
    uint8_t principal_fabric_wwn[VTAPI_WWN_LEN];
    uint8_t adjacent_fabric_wwn[VTAPI_WWN_LEN];
    char model[VTAPI_NAME_LEN];
    char serial_number[VTAPI_NAME_LEN];
    char driver_version[VTAPI_VERSION_LEN];
    char firmware_version[VTAPI_VERSION_LEN];
    uint32_t driver_attr;           /* bits 23 and 26: SCM support */
    /* SCM state */
    uint16_t scm_current_events;
    uint16_t scm_link_event_type;
    uint32_t scm_link_event_threshold;
    uint16_t scm_delivery_reason;
    uint16_t scm_congestion_event_type;
    uint32_t scm_congestion_event_period;
    uint8_t scm_congestion_severity;
    uint8_t scm_fabric_connection_flags;
    uint8_t scm_current_state;
    uint8_t scm_link_integrity_events;
    uint32_t scm_secs_since_last_event;
    uint8_t scm_delivery_notification_events;
    /* option ROM */
    uint8_t optrom_present;         /* VTAPI_OPTROM_* bits */
    uint8_t fw_major, fw_minor, fw_subminor;
    uint8_t efi_major, efi_minor;
    uint8_t fcode_major, fcode_minor, fcode_subminor;
    char optrom_bios_version[VTAPI_VERSION_LEN];
    /* converged functions: ENode MAC address (chosen place) */
    uint8_t enode_mac[VTAPI_MAC_LEN];
    uint8_t is_virtual_port;
    uint8_t connection_mode;
    uint8_t topology;               /* one-byte attribute handed to loopback tests */
    uint8_t capability;             /* VTAPI_DEVCAP_* bits */
    uint16_t protocol_subsys_id;
    /* PCI link: widths in lanes, speeds as PCIe generation codes */
    uint16_t pci_max_width;
    uint16_t pci_negotiated_width;
    uint16_t pci_max_speed;
    uint16_t pci_negotiated_speed;
    uint32_t bi_valid;              /* boot information valid */
    vtapi_fc_stats_t stats;         /* 21 counters, refreshed in place */
    uint32_t link_unknown_event;    /* link event counters */
    uint32_t link_device_specific_event;
    uint64_t congestion_alarm;      /* congestion signal counters */
    uint64_t congestion_warning;
    vtapi_target_list_t *targets;   /* discovered remote ports; may be null */
} VTAPISDMDevice;

/* ------------------------------------------------------------------ */
/* NIC and iSCSI function data (held in the protocol record)           */
/* ------------------------------------------------------------------ */

/* Ethernet MAC-level and driver statistics of a NIC function. */
typedef struct _vtapi_eth_stats_t {
    /* transmit totals */
    uint64_t txPkts, txOctets, txMulticastPkts, txBroadcastPkts, txUnicastPkts,
        txControlPkts, txPausePkts;
    /* transmit size buckets */
    uint64_t txPkts64Octets, txPkts65to127Octets, txPkts128to255Octets,
        txPkts256to511Octets, txPkts512to1023Octets, txPkts1024to1518Octets,
        txPkts1519toMaxOctets, txUndersizePkts, txOversizePkts;
    /* receive totals and errors */
    uint64_t rxOctets, rxOctetsOK, rxPkts, rxPktsOK, rxBroadcastPkts,
        rxMulticastPkts, rxUnicastPkts, rxUndersizePkts, rxOversizePkts,
        rxJabberPkts, rxUndersizeFCSerrorPkts, rxDropEvents, rxFCSerrorPkts,
        rxAlignError, rxLengthError, rxSymbolError, rxInternalMACError;
    /* receive size buckets */
    uint64_t rxPkts64Octets, rxPkts65to127Octets, rxPkts128to255Octets,
        rxPkts256to511Octets, rxPkts512to1023Octets, rxPkts1024to1518Octets,
        rxPkts1519toMaxOctets, rxControlPkts, rxPausePkts;
    /* per-priority pause frames */
    uint64_t txCBFCPauseFrames[8];
    uint64_t txFCoEPkts, txMgmtPkts;
    uint64_t rxCBFCPauseFrames[8];
    uint64_t rxFCoEPkts, rxMgmtPkts;
    /* FIFO drops */
    uint64_t rxNICfifoDrop, rxFCoEfifoDrop, rxMgmtfifoDrop;
    /* per-priority packets */
    uint64_t rxPktsPriority[8], txPktsPriority[8], rxPktsDiscardPriority[8];
    /* driver counters */
    uint64_t txCalled, rxError, txError, csummed, rxLroFrames, rxBytes, txBytes,
        rxLroBytes, lsoTxOk, xmitOn, xmitOff, skbAllocFailure, nullRxBuf,
        rxDmaMapError, txDmaMapError;
    uint64_t lroSessions, txFramesUcast, txFramesMcast, txFramesBcast,
        txBytesUcast, txBytesMcast, txBytesBcast, txOk, txErrorCnt, AvgTxBF,
        rxFramesUcast, rxFramesMcast, rxFramesBcast, rxBytesUcast, rxBytesMcast,
        rxBytesBcast, rxOk, rxErrorCnt, AvgRxBF, rxErrorResource, AvgLroBF;
} vtapi_eth_stats_t;

typedef struct _vtapi_nic_function_t {
    vtapi_macaddr current_mac;
    vtapi_macaddr permanent_mac;
    vtapi_macaddr local_admin_mac;
    vtapi_macaddr default_mac;      /* factory default */
    char alias[VTAPI_NAME_LEN];
    char driver_name[VTAPI_NAME_LEN];
    uint64_t link_speed;            /* as the driver reports it */
    uint32_t link_state;            /* 1 = up */
    uint32_t link_duplex;
    uint64_t rx_errors;
    uint64_t tx_errors;
    uint8_t pxe_enabled;            /* cached values */
    uint8_t wol_enabled;
    uint8_t reserved[2];
    uint32_t flow_control;
    uint32_t priority_flow_control;
    uint64_t wol_wakeup_events;
    vtapi_eth_stats_t stats;        /* refreshed by VTAPI_RefreshEthernetStats */
} vtapi_nic_function_t;

/* iSCSI portal record, refreshed by VTAPI_GetHbaDevicePortalPropertyiSCSI. */
typedef struct _vtapi_iscsi_portal_t {
    uint16_t number_of_bus;
    uint16_t targets_per_bus;
    uint16_t luns_per_target;
    uint16_t luns_per_target_os;
    uint32_t max_transfer_len;
    uint32_t max_data_segments;
    uint16_t dma_bit_addresses;
    uint16_t io_map_type;
    char device_name[VTAPI_NAME_LEN];
    uint16_t port_number;
    uint16_t portal_count;
    VTAPI_ISCSIIPADDR ip_addr;
    char iscsi_name[VTAPI_ISCSI_NAME_LEN];
    char alias[VTAPI_NAME_LEN];
    vtapi_macaddr mac;
    uint16_t state;
    uint16_t type;
    uint16_t disc_target_count;
    char manufacturer[VTAPI_NAME_LEN];
    char model[VTAPI_NAME_LEN];
    char fw_version[VTAPI_VERSION_LEN];
    char optrom_version[VTAPI_VERSION_LEN];
    uint32_t driver_attr;
    uint32_t fw_attr;
    char iscsi_version[VTAPI_VERSION_LEN];
    uint16_t dhcp_state;
    uint16_t link_status;
    uint16_t flow_control_duplex_link_speed;
    uint16_t reserved;
} vtapi_iscsi_portal_t;

/* iSCSI LUN entry of a target. */
typedef struct _VTAPI_HBATGTLUNENTRY {
    uint16_t lun_num;
    char vendor[8];
    char prod_id[16];
    char prod_rev[4];
    uint8_t reserved[2];
    float lun_size;                 /* size value passed through (MB) */
    uint8_t wwuln[32];
} VTAPI_HBATGTLUNENTRY;

#define VTAPI_ISCSI_MAX_LUNS 64

typedef struct _VTAPI_HBATGTLUNLIST {
    uint32_t lun_count;
    VTAPI_HBATGTLUNENTRY luns[VTAPI_ISCSI_MAX_LUNS];
} VTAPI_HBATGTLUNLIST;

/* iSCSI target slot. */
typedef struct _VTAPI_HBATGTENTRY {
    uint32_t in_use;                /* slot used when non-zero */
    char iscsi_name[VTAPI_ISCSI_NAME_LEN];
    uint32_t target_id;
    VTAPI_ISCSIIPADDR ip_addr;
    uint16_t port_number;
    uint16_t device_state;          /* 0..6 */
    char alias[VTAPI_NAME_LEN];
    uint32_t session_state;         /* 0xFFFD = not saved */
    VTAPI_HBATGTLUNLIST *lun_list;  /* may be null */
} VTAPI_HBATGTENTRY;

typedef struct _vtapi_iscsi_function_t {
    vtapi_iscsi_portal_t portal;
    VTAPI_HBATGTENTRY *targets;     /* VTAPI_ISCSI_MAX_TARGETS slots, or null */
} vtapi_iscsi_function_t;

/* ------------------------------------------------------------------ */
/* The adapter tree                                                     */
/* ------------------------------------------------------------------ */

/*
 * One protocol (PCI) function of a physical port. The FC device record is
 * held inside (meaningful for FC and FCoE only); after the PCI location,
 * type and next pointer come the fields shared by all kinds and then the
 * NIC and iSCSI parts (each meaningful for its kind only).
 */
typedef struct _vtapi_protocol_t {
    struct _tagVTAPISDMDevice device;
    uint8_t pci_bus;
    uint8_t pci_device;
    uint8_t pci_function;
    uint32_t protocol_type;         /* VTAPI_PROTOCOL_* */
    struct _vtapi_protocol_t *next;
    uint32_t hba_number;            /* library handle of the function */
    char name[VTAPI_NAME_LEN];      /* NIC interface / iSCSI instance name */
    uint16_t pci_device_id;
    uint16_t pci_subsys_id;
    uint16_t pci_vendor_id;
    uint16_t pci_subsys_vendor_id;
    char driver_version[VTAPI_VERSION_LEN];
    char firmware_version[VTAPI_VERSION_LEN];
    vtapi_nic_function_t nic;
    vtapi_iscsi_function_t iscsi;
} vtapi_protocol_t;

typedef struct _vtapi_protocol_list_t {
    uint32_t count;
    struct _vtapi_protocol_t *first;
} vtapi_protocol_list_t;

typedef struct _vtapi_phy_port_t {
    uint8_t port_number;            /* first byte of the record */
    uint8_t pci_bus;
    uint8_t pci_device;
    vtapi_protocol_list_t *protocols; /* may be null: port skipped */
    struct _vtapi_phy_port_t *next;
} vtapi_phy_port_t;

typedef struct _vtapi_phy_port_list_t {
    uint32_t count;
    struct _vtapi_phy_port_t *first;
} vtapi_phy_port_list_t;

/* NPAR data of an adapter: see the NPAR section below. */
struct _vtapi_npar_info_t;

/* Bits of _vtapi_adapter_t.npar_valid. */
#define VTAPI_NPAR_VALID_NPAR      0x04  /* NPAR configuration valid */
#define VTAPI_NPAR_VALID_ESWITCH   0x10  /* eSwitch configuration valid */
#define VTAPI_NPAR_VALID_SETTINGS  0x20  /* NPAR settings valid */

typedef struct _vtapi_adapter_t {
    char name[VTAPI_NAME_LEN];      /* serial number; the adapter's identity */
    vtapi_phy_port_list_t *phy_ports; /* may be null */
    struct _vtapi_adapter_t *next;
    uint32_t kind;                  /* VTAPI_ADAPTER_* */
    uint16_t pci_bus;
    uint16_t pci_vendor_id;
    uint16_t pci_subsys_vendor_id;
    uint16_t pci_subsys_id;
    char model[VTAPI_NAME_LEN];
    uint32_t chip_revision;
    char active_fw_version[VTAPI_VERSION_LEN];
    char flash_bios_version[VTAPI_VERSION_LEN];
    char flash_fcode_version[VTAPI_VERSION_LEN];
    char flash_efi_version[VTAPI_VERSION_LEN];
    char flash_fw_version[VTAPI_VERSION_LEN];
    char flash_multiboot_version[VTAPI_VERSION_LEN];
    char pxe_version[VTAPI_VERSION_LEN];
    uint32_t partitioned;           /* non-zero when running NPAR */
    char mgmt_func_name[VTAPI_NAME_LEN];
    uint32_t feature_mask;
    uint32_t exclusivity_mask;
    char board_id[VTAPI_NAME_LEN];  /* stable identity text (board name) */
    uint32_t npar_capable;
    uint32_t npar_valid;            /* VTAPI_NPAR_VALID_* */
    struct _vtapi_npar_info_t *npar; /* null when not NPAR-capable */
} vtapi_adapter_t;

typedef struct _vtapi_adapter_list_t {
    uint32_t count;
    struct _vtapi_adapter_t *first;
} vtapi_adapter_list_t;

/* ------------------------------------------------------------------ */
/* Inventory operations                                                 */
/* ------------------------------------------------------------------ */

VTAPI_STATUS VTAPI_Initialize(int32_t debug_level, uint32_t reserved);
VTAPI_STATUS VTAPI_Uninitialize(void);
VTAPI_STATUS VTAPI_SetToolID(uint32_t tool_id);
VTAPI_STATUS VTAPI_SetToolVersion(uint8_t major, uint8_t minor, uint8_t build,
                                  uint8_t reserved);
/* Returns the current list, or null when there is none. */
vtapi_adapter_list_t *VTAPI_GetAdapterList(void);
/* Non-zero when the hardware configuration changed since the last reset. */
uint32_t VTAPI_DidConfigChange(void);
void VTAPI_ResetConfigChange(void);
VTAPI_STATUS VTAPI_UpdateBackupAdapterList(void);
VTAPI_STATUS VTAPI_SwapBackupToMainAdapterList(void);
void VTAPI_FreeMem(void *buffer);
/* Reloads all data of the current tree in place (shape unchanged). */
VTAPI_STATUS VTAPI_RefreshData(void);

/* ================================================================== */
/* FC functions: NVRAM parameters, boot settings, chip options          */
/* ================================================================== */

/*
 * NVRAM parameter record. Fields in the order the FC port class publishes
 * them. change_mask bit i marks the i-th field (0 = data_rate ...
 * 40 = io_throttling) to be applied by VTAPI_UpdateHBAParameters; a mask
 * of 0 writes every field.
 */
typedef struct _VTAPI_HBAParams {
    int32_t data_rate;
    int32_t connection_options;
    int32_t enable_fc_tape_support;
    int32_t max_luns_per_target;
    int32_t enable_hard_loop_id;
    int32_t hard_loop_id;
    int32_t frame_size;
    int32_t enable_lip_reset;
    int32_t enable_lip_full_login;
    int32_t enable_target_reset;
    int32_t enable_extended_logging;
    int32_t loop_reset_delay;
    int32_t login_retry_count;
    int32_t port_down_retry_count;
    int32_t execution_throttle;
    int32_t link_down_error;
    int32_t fast_error_reporting;
    int32_t operation_mode;
    int32_t interrupt_delay_timer;
    int32_t link_down_timeout;
    int32_t enable_fc_confirm;
    int32_t hba_bind;
    int32_t enable_64bit_addressing;
    int32_t enable_fast_command_posting;
    int32_t rio_mode;
    int32_t recv_out_of_order_data_bit;
    int32_t subsys_vendor_id0;
    int32_t subsys_device_id0;
    int32_t subsys_vendor_id1;
    int32_t subsys_device_id1;
    int32_t descending_loop_id_search;
    int32_t enable_lr_bit;
    int32_t disable_fabric_assign_wwn;
    int32_t disable_fabric_assign_boot_lun;
    int32_t enable_dport;
    int32_t enable_distance_support;
    int32_t min_speed;
    int32_t disable_scm;
    int32_t enable_virtual_lane;
    uint32_t driver_attr;
    uint8_t io_throttling;
    uint8_t reserved[3];
    uint64_t change_mask;
} VTAPI_HBAParams;

#define VTAPI_HBAPARAMS_FIELD_COUNT 41

/* A boot device: target port WWN and LUN. */
typedef struct _vtapi_boot_target_t {
    uint8_t port_wwn[VTAPI_WWN_LEN];
    uint16_t lun;
    uint16_t reserved;
} vtapi_boot_target_t;

/* Boot settings. boot[0] is the primary device, boot[1..3] Alt1..Alt3. */
typedef struct _VTAPI_BootDeviceInfo {
    int32_t disable_bios;
    int32_t enable_selectable_boot;
    vtapi_boot_target_t boot[4];
    int32_t enable_selective_login;
    int32_t enable_alt_boot_device;
    int32_t enable_boot_order_list;
    int32_t enable_selective_lun;
    int32_t force_world_login;
} VTAPI_BootDeviceInfo;

/* Primary FCF VLAN of a converged function. */
typedef struct _VTAPI_FCFPrimVLANConfig {
    uint8_t valid;                  /* FCoEConfigValid */
    uint8_t pri_sel_enable;         /* FCFPriSelEnable */
    uint8_t reserved[2];
    int32_t vlan_id;                /* FCFPrimVLANId */
} VTAPI_FCFPrimVLANConfig;

/* General FCoE information of a converged function. */
typedef struct _VTAPI_FCoEGeneralInfo {
    uint8_t valid;                  /* FCoEInfoValid */
    uint8_t reserved[3];
    uint32_t vlan_id;
    uint32_t address_mode;
    uint8_t vn_port_mac[VTAPI_MAC_LEN];
    uint8_t mpi_version[4];
    uint8_t edc_version[4];
    uint8_t reserved2[2];
} VTAPI_FCoEGeneralInfo;

/* Per-target link speed (iiDMA): Gb/s, or this value when not set. */
#define VTAPI_TGT_SPEED_INVALID 0xFFFFu

/* Data Center Bridging parameters of a converged FC function. */
typedef struct _VTAPI_DataCenterBridgingParams {
    uint32_t port_access_no;
    uint32_t dcbx_enable;
    uint32_t san_priority_cos;
    uint32_t fc_priority_cos;
    uint32_t port_pause_type;
    uint32_t frame_size;
    uint32_t addressing_mode;
    uint32_t priority_txt_mode;
    uint32_t san_bandwidth_perc;
    uint32_t san_unused_bw_to_lan;
    uint32_t lan_unused_bw_to_san;
    uint32_t willing;
    uint8_t bw_perc_dcbx_group[8];
    uint8_t iscsi_priority_cos;
    uint8_t reserved[3];
} VTAPI_DataCenterBridgingParams;

VTAPI_STATUS VTAPI_GetVpd(uint32_t instance, uint32_t flags, uint8_t *buffer,
                          uint32_t *length);
VTAPI_STATUS VTAPI_GetHBAParamsInfo(VTAPISDMDevice *device, VTAPI_HBAParams *params);
VTAPI_STATUS VTAPI_UpdateHBAParameters(VTAPISDMDevice *device,
                                       const VTAPI_HBAParams *params);
VTAPI_STATUS VTAPI_GetBootDeviceInfo(VTAPISDMDevice *device, VTAPI_BootDeviceInfo *boot);
VTAPI_STATUS VTAPI_SetBootDeviceInfo(VTAPISDMDevice *device,
                                     const VTAPI_BootDeviceInfo *boot);
VTAPI_STATUS VTAPI_PostVerifyHBAParameter(VTAPISDMDevice *device);
/* Writes 1 or 0 through reboot_required; non-zero result when it cannot tell. */
VTAPI_STATUS VTAPI_IsRebootRequired(VTAPISDMDevice *device, uint8_t *reboot_required);
VTAPI_STATUS VTAPI_GetPersonalityType(VTAPISDMDevice *device, uint8_t *personality);
VTAPI_STATUS VTAPI_ChangePersonalityType(VTAPISDMDevice *device, uint8_t personality);
VTAPI_STATUS VTAPI_CheckSaffronPersonalityChangeOption(VTAPISDMDevice *device,
                                                       uint8_t *display_option);
/* *version: a text allocated for the caller (VTAPI_FreeMem). */
VTAPI_STATUS VTAPI_GetFwPreloadTablesVersion(VTAPISDMDevice *device, char **version);
/* FEC state: 0 off, 1 on. VTAPI_STATUS_NOT_SUPPORTED on chips without FEC. */
VTAPI_STATUS VTAPI_FCGetFECSupportInfo(VTAPISDMDevice *device, uint32_t *fec_state);
VTAPI_STATUS VTAPI_FCSetFECSupportInfo(VTAPISDMDevice *device, uint32_t fec_state);
/* Buffer-to-buffer credit recovery: enabled 0/1 and the state change number
 * (0..15). The Ex form takes the mezzanine flag from VTAPI_IsMezzAdapter. */
VTAPI_STATUS VTAPI_FCGetBBCSupportInfo(VTAPISDMDevice *device, uint8_t *enabled,
                                       uint8_t *scn);
VTAPI_STATUS VTAPI_FCGetBBCSupportInfoEx(VTAPISDMDevice *device, uint8_t is_mezz,
                                         uint8_t *enabled, uint8_t *scn);
VTAPI_STATUS VTAPI_FCSetBBCSupportInfo(VTAPISDMDevice *device, uint8_t enabled,
                                       uint8_t scn);
VTAPI_STATUS VTAPI_IsMezzAdapter(VTAPISDMDevice *device, uint8_t *is_mezz);
VTAPI_STATUS VTAPI_GetFCFPrimVLANConfig(VTAPISDMDevice *device, VTAPI_FCFPrimVLANConfig *cfg);
VTAPI_STATUS VTAPI_FCIsConfigureToBootFromSAN(VTAPISDMDevice *device, uint8_t *boot_from_san);
VTAPI_STATUS VTAPI_GetFCoEGeneralInfo(VTAPISDMDevice *device, VTAPI_FCoEGeneralInfo *info);

/* Refresh records in place. */
VTAPI_STATUS VTAPI_UpdatePortProperty(VTAPISDMDevice *device);
VTAPI_STATUS VTAPI_UpdateDiscTargetProperty(VTAPISDMDevice *device, VTAPI_SDMTarget *target);
VTAPI_STATUS VTAPI_RefreshDeviceStats(VTAPISDMDevice *device);
VTAPI_STATUS VTAPI_ResetDeviceStats(VTAPISDMDevice *device);

/* Per-target link speed in Gb/s; NOT_SUPPORTED when the chip cannot set it. */
VTAPI_STATUS VTAPI_GetTargetLinkSpeed(VTAPISDMDevice *device, VTAPI_SDMTarget *target,
                                      uint16_t *speed);
VTAPI_STATUS VTAPI_SetTargetLinkSpeed(VTAPISDMDevice *device, VTAPI_SDMTarget *target,
                                      uint16_t speed);

VTAPI_STATUS VTAPI_GetMpiConfigTableParams(VTAPISDMDevice *device,
                                           VTAPI_DataCenterBridgingParams *params);
/* *buffer: allocated for the caller (VTAPI_FreeMem); *size in bytes. */
VTAPI_STATUS VTAPI_GetDCBXParams(VTAPISDMDevice *device, uint8_t **buffer, uint32_t *size);

/* ================================================================== */
/* Ethernet (NIC) functions                                             */
/* ================================================================== */

/* NIC parameter record: 28 parameter words, then the validity mask. */
typedef struct _NicParams {
    int32_t max_jumbo_buffers;              /* 0x01 */
    uint32_t rx_buffers;                    /* 0x02 */
    uint32_t tx_buffers;                    /* 0x04 */
    int32_t tso;                            /* 0x08 */
    int32_t tx_checksumming;                /* 0x10 */
    int32_t rx_checksumming;                /* 0x20 */
    uint32_t rx_coalesce_usecs;             /* 0x40: words 6..27 */
    uint32_t rx_max_coalesced_frames;
    uint32_t rx_coalesce_usecs_irq;
    uint32_t rx_max_coalesced_frames_irq;
    uint32_t tx_coalesce_usecs;
    uint32_t tx_max_coalesced_frames;
    uint32_t tx_coalesce_usecs_irq;
    uint32_t tx_max_coalesced_frames_irq;
    uint32_t stats_block_coalesce_usecs;
    uint32_t use_adaptive_rx_coalesce;
    uint32_t use_adaptive_tx_coalesce;
    uint32_t pkt_rate_low;
    uint32_t rx_coalesce_usecs_low;
    uint32_t rx_max_coalesced_frames_low;
    uint32_t tx_coalesce_usecs_low;
    uint32_t tx_max_coalesced_frames_low;
    uint32_t pkt_rate_high;
    uint32_t rx_coalesce_usecs_high;
    uint32_t rx_max_coalesced_frames_high;
    uint32_t tx_coalesce_usecs_high;
    uint32_t tx_max_coalesced_frames_high;
    uint32_t rate_sample_interval;
    uint32_t valid_mask;                    /* word 28 */
} NicParams;

#define VTAPI_NICPARAMS_WORDS 29
#define VTAPI_NICPARAM_COALESCE 0x40u

typedef struct _VTAPI_WOLConfigV2 {
    uint8_t enabled;
    uint8_t reserved[7];
    uint64_t wakeup_events;
} VTAPI_WOLConfigV2;

/* One name/value pair of a statistics list (NIC and iSCSI). */
typedef struct _VTAPI_STAT_ENTRY {
    char name[64];
    uint64_t value;
} VTAPI_STAT_ENTRY;

/* Ethernet DCBX configuration. */
typedef struct _VTAPI_DCBX_CONFIG {
    uint8_t is_dcbx_enabled;
    uint8_t is_willing;
    uint8_t lan_bw_to_san;
    uint8_t san_bw_to_lan;
    uint32_t port_pause_type;
    uint32_t san_priority_cos;
    uint32_t lan_bandwidth_percentage;
    uint32_t san_bandwidth_percentage;
    uint8_t group_percentages[8];
    uint32_t fcoe_priority_cos;
    uint32_t priority_tx_mode;
    uint8_t is_ieee_dcbx_enabled;
    uint8_t ets_config_willing;
    uint8_t pfc_config_willing;
    uint8_t make_recommendation;
} VTAPI_DCBX_CONFIG;

/* SR-IOV capability of one direction: two flag bytes (hardware and driver
 * support), then the VF count. */
typedef struct _VTAPI_SRIOV_CAPABILITY {
    uint8_t hw_supported;
    uint8_t sw_supported;
    uint8_t reserved[2];
    uint32_t max_vfs;
} VTAPI_SRIOV_CAPABILITY;

typedef struct _VTAPI_SRIOV_PF_INFO {
    uint8_t sw_sriov_support, sw_vf_rss_support, sw_vlan_support, reserved0;
    uint32_t sw_num_max_vfs, sw_num_max_mac_addresses, sw_num_max_queue_pairs,
        sw_num_max_vports;
    uint8_t hw_sriov_support, hw_vf_rss_support, hw_vlan_support, reserved1;
    uint32_t hw_num_max_vfs, hw_num_max_mac_addresses, hw_num_max_queue_pairs,
        hw_num_max_vports;
    uint32_t num_active_vfs, num_assigned_vfs, num_max_ff_vports, num_ff_active_vports,
        num_ff_pf_active_vports, num_ff_vf_active_vports;
    uint32_t num_vfs;               /* VFs that VTAPI_SRIOVGetVfInfo serves */
    uint32_t num_pf_vports;         /* vports of the PF itself */
} VTAPI_SRIOV_PF_INFO;

typedef struct _VTAPI_SRIOV_VF_INFO {
    uint32_t vf_id;
    vtapi_macaddr mac;              /* administratively set MAC */
    vtapi_macaddr current_mac;      /* MAC in use */
    uint32_t bandwidth_min, bandwidth_max;
    char vm_name[VTAPI_NAME_LEN];
    char vf_drv_version[VTAPI_VERSION_LEN];
    uint8_t anti_mac_spoof, rss_enabled, reserved[2];
    uint32_t num_vf_active_vports, vlan_id, num_rss_rings, num_mac_filters;
} VTAPI_SRIOV_VF_INFO;

typedef struct _VTAPI_SRIOV_VPORT_INFO {
    uint32_t vport_id, enabled, bw_min, bw_max, num_mac_filter, num_vlan_filter;
    vtapi_macaddr mac_addr;
    uint8_t vport_state;
    uint8_t reserved;
    uint32_t pvid, mtu, num_tx_queues, num_rx_queues;
    uint32_t attached_func_id, num_queue_pairs;
} VTAPI_SRIOV_VPORT_INFO;

VTAPI_STATUS VTAPI_RefreshLinkProps(vtapi_adapter_t *adapter);
VTAPI_STATUS VTAPI_RefreshEthernetStats(vtapi_adapter_t *adapter, const char *ifname);
VTAPI_STATUS VTAPI_GetPXEEnabled(const char *ifname, uint8_t *enabled, uint8_t force_non_cache);
VTAPI_STATUS VTAPI_SetPXEEnabled(const char *ifname, uint8_t enabled);
VTAPI_STATUS VTAPI_GetWOLConfigV2(const char *ifname, VTAPI_WOLConfigV2 *config,
                                  uint8_t force_non_cache);
VTAPI_STATUS VTAPI_SetWOLConfig(const char *ifname, uint8_t enabled, uint64_t wakeup_events);
VTAPI_STATUS VTAPI_GetPortVLANIDV2(const char *ifname, uint32_t *vlan_id,
                                   uint8_t force_non_cache);
VTAPI_STATUS VTAPI_SetPortVLANID_V2(const char *ifname, uint32_t vlan_id, uint8_t need_reset);
VTAPI_STATUS VTAPI_GetNicParams(const char *ifname, NicParams *params);
VTAPI_STATUS VTAPI_SetNicParams(const char *ifname, const NicParams *params);
VTAPI_STATUS VTAPI_cnaGetFwMiniDumpState(const char *ifname, uint32_t *state);
VTAPI_STATUS VTAPI_cnaSetFwMiniDumpState(const char *ifname, uint32_t state);
VTAPI_STATUS VTAPI_cnaGetFwMiniDumpCaptureMask(const char *ifname, uint32_t *mask);
VTAPI_STATUS VTAPI_cnaSetFwMiniDumpCaptureMask(const char *ifname, uint32_t mask);
/* *buffer: NUL-terminated VPD text allocated for the caller; *size its length. */
VTAPI_STATUS VTAPI_NicGetVpd(vtapi_adapter_t *adapter, const char *ifname, char **buffer,
                             uint32_t *size);
/* Writes a firmware dump to path; on_demand non-zero takes a fresh dump. */
VTAPI_STATUS VTAPI_NicGetFirmwareDump(vtapi_adapter_t *adapter, const char *ifname,
                                      const char *path, uint64_t on_demand);
/* Writes a phantom core dump to a file and its path into out_path
 * (VTAPI_PATH_LEN bytes). */
#define VTAPI_PATH_LEN 256
VTAPI_STATUS VTAPI_NicGetPhantomCoreDump(vtapi_adapter_t *adapter, const char *identity,
                                         char *out_path, uint32_t dump_mode);
/* *list: array of *count entries allocated for the caller (VTAPI_FreeMem). */
VTAPI_STATUS VTAPI_GetNICStatistics(const char *ifname, VTAPI_STAT_ENTRY **list,
                                    uint32_t *count);
VTAPI_STATUS VTAPI_GetNICDCBXParams(const char *ifname, uint8_t **buffer, uint32_t *size);
VTAPI_STATUS VTAPI_GetDCBXConfig(const char *ifname, VTAPI_DCBX_CONFIG *config);
VTAPI_STATUS VTAPI_SetDCBXConfig(const char *ifname, const VTAPI_DCBX_CONFIG *config);

/* SR-IOV of a NIC function (adapter and interface name). */
VTAPI_STATUS VTAPI_GetSRIOVCapabilities(vtapi_adapter_t *adapter, const char *ifname,
                                        VTAPI_SRIOV_CAPABILITY caps[2]);
VTAPI_STATUS VTAPI_GetSRIOVStatus(vtapi_adapter_t *adapter, const char *ifname,
                                  uint32_t *status);
VTAPI_STATUS VTAPI_GetSRIOVStatus_v2(vtapi_adapter_t *adapter, const char *ifname,
                                     uint32_t *status, uint32_t *vf0, uint32_t *vf1,
                                     uint32_t *reserved);
VTAPI_STATUS VTAPI_SetSRIOVStatus(vtapi_adapter_t *adapter, const char *ifname,
                                  uint32_t status, const uint32_t *vf, uint32_t vf_count);
VTAPI_STATUS VTAPI_SRIOVGetPfInfo(vtapi_adapter_t *adapter, const char *ifname,
                                  VTAPI_SRIOV_PF_INFO *pf);
VTAPI_STATUS VTAPI_SRIOVGetVfInfo(vtapi_adapter_t *adapter, const char *ifname,
                                  uint32_t vf_index, VTAPI_SRIOV_VF_INFO *vf);
/* Vports of the PF (vf_index VTAPI_SRIOV_PF) or of one VF; *list is an
 * array of *count records allocated for the caller (VTAPI_FreeMem). */
#define VTAPI_SRIOV_PF 0xFFFFFFFFu
VTAPI_STATUS VTAPI_SRIOVGetVports(vtapi_adapter_t *adapter, const char *ifname,
                                  uint32_t vf_index, VTAPI_SRIOV_VPORT_INFO **list,
                                  uint32_t *count);
/* Ids of the vports of the PF (vf_index VTAPI_SRIOV_PF) or of one VF: at
 * most *count ids (the room of ids) are copied; *count is then set to the
 * number of vports, which may exceed the room. */
VTAPI_STATUS VTAPI_GetVportList(vtapi_adapter_t *adapter, const char *ifname,
                                uint32_t vf_index, uint32_t *ids, uint32_t *count);
/* One vport of the NIC function, by id. */
VTAPI_STATUS VTAPI_GetVportInfo(vtapi_adapter_t *adapter, const char *ifname,
                                uint32_t vport_id, VTAPI_SRIOV_VPORT_INFO *info);
VTAPI_STATUS VTAPI_SRIOVSetVfAntiMacSpoofChk(vtapi_adapter_t *adapter, const char *ifname,
                                             uint32_t vf_index, uint32_t enable);
VTAPI_STATUS VTAPI_SRIOVSetVfBandwidth(vtapi_adapter_t *adapter, const char *ifname,
                                       uint32_t vf_index, uint32_t min_bw, uint32_t max_bw);
VTAPI_STATUS VTAPI_SRIOVSetVfPortVlanId(vtapi_adapter_t *adapter, const char *ifname,
                                        uint32_t vf_index, uint32_t vlan_id);
/* mac2 may be null. */
VTAPI_STATUS VTAPI_SRIOVSetVfMacAddress(vtapi_adapter_t *adapter, const char *ifname,
                                        uint32_t vf_index, const vtapi_macaddr *mac,
                                        const vtapi_macaddr *mac2);

/* ================================================================== */
/* NIC partitioning (NPAR) and the embedded switch                      */
/* ================================================================== */

/* Capability masks (personalities) of an NPAR function. */
#define VTAPI_NPAR_CAP_DISABLED    0x80000000u
#define VTAPI_NPAR_CAP_NIC_LOW     0x80000001u  /* functions 0 and 1 */
#define VTAPI_NPAR_CAP_NIC         0x80000002u
#define VTAPI_NPAR_CAP_FCOE        0x80000004u
#define VTAPI_NPAR_CAP_TYPE3       0x80000008u
#define VTAPI_NPAR_CAP_FCORE_FCOE  0x80000020u  /* newer generation */

/* Running NPAR configuration: one record per function. */
typedef struct _vtapi_npar_func_cfg_v2_t {
    uint32_t changed;
    uint32_t capability_mask;
    uint32_t min_bw;                /* percent */
    uint32_t max_bw;
} vtapi_npar_func_cfg_v2_t;

typedef struct _VTAPI_NPAR_CFG_V2_T {
    uint32_t func_count;
    uint32_t port_mask;
    vtapi_npar_func_cfg_v2_t func[VTAPI_MAX_NPAR_FUNCS];
} VTAPI_NPAR_CFG_V2_T;

/* Extended per-function configuration (newer adapters). */
typedef struct _vtapi_npar_ext_func_t {
    uint32_t state;                 /* 1 = configured */
    uint32_t operation_mode;
    uint32_t min_bw, max_bw;
    uint32_t max_tx_queues, max_rx_queues;
    uint32_t function_type;         /* 0..3 */
    vtapi_macaddr default_mac;
    uint8_t reserved[2];
} vtapi_npar_ext_func_t;

/* Per-function NPAR settings, as the flash region (active NPAR region)
 * holds them; also the adapter's copy of its current settings. */
typedef struct _vtapi_npar_region_func_t {
    uint32_t capability_mask;
    uint32_t min_bw, max_bw;
    uint32_t phy_port_index;        /* physical port of the function, from 0 */
    vtapi_macaddr mac;              /* basic per-function MAC */
    uint8_t reserved[2];
} vtapi_npar_region_func_t;

typedef struct _VTAPI_NPAR_REGION_V2_T {
    uint32_t func_count;
    vtapi_npar_region_func_t func[VTAPI_MAX_NPAR_FUNCS];
} VTAPI_NPAR_REGION_V2_T;

/* eSwitch: property and policy parts of one function's record. */
typedef struct vtapi_esw_prop_s_v2 {
    uint32_t ivlan_id;
    uint32_t ovlan_id;
    uint32_t anti_spoof_chk;
    uint32_t prop_data1;
} vtapi_esw_prop_s_v2;

/* Bits of policy_data1 (chosen layout). */
#define VTAPI_ESW_POLICY1_DISCARD_TAGGED 0x1u
#define VTAPI_ESW_POLICY1_MAC_LEARNING   0x2u

typedef struct vtapi_esw_policy_s_v2 {
    uint32_t mac_addr_change;
    uint32_t host_vlan_tag;
    uint32_t promisc_mode;
    uint32_t vlan_filter;
    uint32_t vlan_strip;
    uint32_t offload_flags;
    uint32_t policy_data1;
    uint32_t pad0;
    uint32_t policy_datap;
} vtapi_esw_policy_s_v2;

typedef struct _vtapi_esw_func_v2_t {
    uint32_t prop_changed;          /* the two "changed" flags */
    uint32_t policy_changed;
    uint32_t eswitch_index;
    uint32_t tx_mcast_replication;
    uint32_t rx_mcast_replication;
    uint32_t max_unicast_filters;
    uint32_t max_active_vlans;
    vtapi_esw_prop_s_v2 prop;
    vtapi_esw_policy_s_v2 policy;
} vtapi_esw_func_v2_t;

typedef struct _VTAPI_NPAR_ESW_CFG_V2_T {
    uint32_t func_count;
    uint32_t port_mask;
    vtapi_esw_func_v2_t func[VTAPI_MAX_NPAR_FUNCS];
} VTAPI_NPAR_ESW_CFG_V2_T;

/* eSwitch port counters of one function. */
typedef struct _vtapi_esw_stats_t {
    uint64_t rx_unicast_frames, rx_multicast_frames, rx_broadcast_frames,
        rx_dropped_frames, rx_errors, rx_loopback_frames, rx_bytes;
    uint64_t tx_unicast_frames, tx_multicast_frames, tx_broadcast_frames,
        tx_dropped_frames, tx_errors, tx_loopback_frames, tx_bytes;
} vtapi_esw_stats_t;

typedef struct _vtapi_port_mirror_t {
    uint32_t valid;
    uint32_t action;                /* 0 clear, 1 set */
    int32_t source;                 /* -1 = none */
    uint32_t destination;
} vtapi_port_mirror_t;

/* NPAR data of an NPAR-capable adapter (_vtapi_adapter_t.npar). Parts that
 * the adapter does not have are null; see also _vtapi_adapter_t.npar_valid. */
typedef struct _vtapi_npar_info_t {
    uint32_t func_count;            /* NPAR functions, at most 16 */
    uint32_t eswitch_count;
    uint32_t enabled;               /* NPAR running on the adapter */
    uint32_t enabled_func_count;    /* enabled PCI functions */
    VTAPI_NPAR_CFG_V2_T *config;    /* running configuration */
    VTAPI_NPAR_REGION_V2_T *settings; /* npar_settings: current per-function settings */
    VTAPI_NPAR_ESW_CFG_V2_T *esw;   /* eSwitch data (ESWData) */
    vtapi_npar_ext_func_t ext[VTAPI_MAX_NPAR_FUNCS];
    uint32_t board_cap_mask[VTAPI_MAX_NPAR_FUNCS]; /* 0 = not reported */
    uint32_t func_protocol[VTAPI_MAX_NPAR_FUNCS];  /* VTAPI_PROTOCOL_* */
    uint32_t func_link_status[VTAPI_MAX_NPAR_FUNCS];
    char func_name[VTAPI_MAX_NPAR_FUNCS][VTAPI_NAME_LEN]; /* "" = none */
    vtapi_esw_stats_t esw_stats[VTAPI_MAX_NPAR_FUNCS];
    vtapi_port_mirror_t mirror;
} vtapi_npar_info_t;

VTAPI_STATUS VTAPI_NparSetNparConfig_V2(vtapi_adapter_t *adapter, uint32_t func_count,
                                        uint32_t port_mask,
                                        const vtapi_npar_func_cfg_v2_t *records);
VTAPI_STATUS VTAPI_NparSetESwitchConfig_V2(vtapi_adapter_t *adapter, uint32_t func_count,
                                           uint32_t port_mask,
                                           const vtapi_esw_func_v2_t *records);
VTAPI_STATUS VTAPI_NparSetPortMirrorConfig(vtapi_adapter_t *adapter, uint32_t action,
                                           int32_t source, uint32_t destination);
VTAPI_STATUS VTAPI_NparP3PReadActiveNparRegion_V2(vtapi_adapter_t *adapter,
                                                  VTAPI_NPAR_REGION_V2_T *region);
VTAPI_STATUS VTAPI_NparP3PWriteActiveNparRegion_V2(vtapi_adapter_t *adapter,
                                                   const VTAPI_NPAR_REGION_V2_T *region);
VTAPI_STATUS VTAPI_RefreshNPARInfo(vtapi_adapter_t *adapter);
VTAPI_STATUS VTAPI_RefreshNPARStats(vtapi_adapter_t *adapter);

/* ================================================================== */
/* iSCSI functions (addressed by the function's HBA number)             */
/* ================================================================== */

/* Change bits of iSCSIHBAParams.change_mask. */
enum {
    VTAPI_ISCSI_HBA_IPV4_ENABLE = 0x1, VTAPI_ISCSI_HBA_DHCP = 0x2,
    VTAPI_ISCSI_HBA_IPV4_ADDR = 0x4, VTAPI_ISCSI_HBA_SUBNET = 0x8,
    VTAPI_ISCSI_HBA_GATEWAY = 0x10, VTAPI_ISCSI_HBA_VLAN_ENABLE = 0x20,
    VTAPI_ISCSI_HBA_VLAN_PRIORITY = 0x40, VTAPI_ISCSI_HBA_VLAN_ID = 0x80,
    VTAPI_ISCSI_HBA_IPV6_ENABLE = 0x100, VTAPI_ISCSI_HBA_LINK_LOCAL_AUTO = 0x200,
    VTAPI_ISCSI_HBA_LINK_LOCAL_ADDR = 0x400, VTAPI_ISCSI_HBA_ROUTABLE_AUTO = 0x800,
    VTAPI_ISCSI_HBA_ROUTABLE0 = 0x1000, VTAPI_ISCSI_HBA_ROUTABLE1 = 0x2000,
    VTAPI_ISCSI_HBA_DEFAULT_ROUTER = 0x4000, VTAPI_ISCSI_HBA_IPV6_VLAN_ENABLE = 0x8000,
    VTAPI_ISCSI_HBA_IPV6_VLAN_PRIORITY = 0x10000, VTAPI_ISCSI_HBA_IPV6_VLAN_ID = 0x20000
};

typedef struct _iSCSIHBAParams {
    uint8_t ipv4_enabled;
    uint8_t dhcp_enabled;
    uint8_t vlan_enabled;
    uint8_t ipv6_enabled;
    VTAPI_ISCSIIPADDR ipv4_addr;
    VTAPI_ISCSIIPADDR subnet;
    VTAPI_ISCSIIPADDR gateway;
    int32_t vlan_user_priority;
    int32_t vlan_id;
    uint8_t link_local_auto;
    uint8_t routable_auto;
    uint8_t ipv6_vlan_enabled;
    uint8_t reserved;
    VTAPI_ISCSIIPADDR link_local_addr;
    VTAPI_ISCSIIPADDR routable_addr0;
    VTAPI_ISCSIIPADDR routable_addr1;
    VTAPI_ISCSIIPADDR default_router;
    int32_t ipv6_vlan_user_priority;
    int32_t ipv6_vlan_id;
    uint32_t change_mask;           /* VTAPI_ISCSI_HBA_* */
} iSCSIHBAParams;

/* Change bits of iSCSIBootParams.change_mask. */
enum {
    VTAPI_ISCSI_BOOT_MODE = 0x01, VTAPI_ISCSI_BOOT_ENABLE = 0x02,
    VTAPI_ISCSI_BOOT_PRI_TGT = 0x04, VTAPI_ISCSI_BOOT_PRI_LUN = 0x08,
    VTAPI_ISCSI_BOOT_SEC_TGT = 0x10, VTAPI_ISCSI_BOOT_SEC_LUN = 0x20,
    VTAPI_ISCSI_BOOT_VENDOR_ID = 0x40, VTAPI_ISCSI_BOOT_ALT_CLIENT_ID = 0x80
};

typedef struct _iSCSIBootParams {
    uint8_t boot_mode;
    uint8_t boot_enabled;
    uint8_t pri_tgt_id;
    uint8_t sec_tgt_id;
    uint64_t pri_lun;
    uint64_t sec_lun;
    char vendor_id[12];             /* not necessarily terminated */
    char alt_client_id[12];
    uint8_t change_mask;            /* VTAPI_ISCSI_BOOT_* */
    uint8_t reserved[7];
} iSCSIBootParams;

/* iSCSI session and TCP/IP parameters; bit i of mask = parameter i. */
typedef struct _iSCSIPortConfig {
    uint8_t force_negotiate_main_keys;  /* 0x1 */
    uint8_t header_digests;             /* 0x2 */
    uint8_t data_digests;               /* 0x4 */
    uint8_t immediate_data;             /* 0x8 */
    uint8_t initial_r2t;                /* 0x10 */
    uint8_t snack;                      /* 0x20 */
    uint8_t discovery_logout;           /* 0x40 */
    uint8_t strict_login;               /* 0x80 */
    int32_t error_recovery_level;       /* 0x100 */
    int32_t first_burst_len;            /* 0x200 */
    int32_t max_burst_len;              /* 0x400 */
    int32_t exe_throttle;               /* 0x800 */
    int32_t keep_alive_to;              /* 0x1000 */
    int32_t max_outstanding_r2t;        /* 0x2000 */
    uint8_t zio_enable_mode;            /* 0x4000 */
    uint8_t reserved0[3];
    int32_t zio;                        /* 0x8000 */
    uint8_t afw_serlz_task_mngmt;       /* 0x10000 */
    uint8_t afw_device_timeouts;        /* 0x20000 */
    uint8_t afw_auto_connect;           /* 0x40000 */
    uint8_t large_frames;               /* 0x80000 */
    uint8_t afw_delayed_ack;            /* 0x100000 */
    uint8_t tcp_nagle;                  /* 0x200000 */
    uint8_t ip_arp_redirect;            /* 0x400000 */
    uint8_t tcp_timestamp;              /* 0x800000 */
    uint8_t ipv4_tos_enable;            /* 0x1000000 */
    uint8_t tcp_window_scale_enable;    /* 0x2000000 */
    uint8_t reserved1[2];
    int32_t task_management_timeout;    /* 0x4000000 */
    int32_t tcp_window_scale;           /* 0x8000000 */
    int32_t ipv4_tos;                   /* 0x10000000 */
    int32_t p3p_tcp_max_window_size;    /* 0x20000000 */
    int32_t ipv4_ttl;                   /* 0x40000000 */
    uint32_t mask;
} iSCSIPortConfig;

/* iSCSI DCBX port configuration (CEE and IEEE forms). */
typedef struct _VTAPI_ISCSI_DCBX_PORT_CONFIG {
    uint8_t is_dcbx_enabled;
    uint8_t is_willing;
    uint8_t lan_bw_to_san;
    uint8_t san_bw_to_lan;
    uint32_t port_pause_type;
    uint32_t san_priority_cos;
    uint32_t lan_bandwidth_percentage;
    uint32_t san_bandwidth_percentage;
    uint8_t group_percentages[8];
    uint32_t fcoe_priority_cos;
    uint32_t iscsi_priority_cos;
    uint32_t priority_tx_mode;
    uint32_t cee_fcoe_enabled_pri_bits;
    uint32_t cee_pfc_enabled_pri_bits;
    uint32_t cee_num_tc_pfcs;
    uint32_t cee_iscsi_enabled_pri_bits;
    uint8_t ieee_tc_for_priority[8];
    uint8_t ieee_bw_for_tc[8];
    uint8_t ieee_tsa_for_tc[8];
    uint32_t ieee_fcoe_enabled_pri_bits;
    uint32_t ieee_pfc_enabled_pri_bits;
    uint32_t ieee_num_tc_pfcs;
    uint32_t ieee_iscsi_enabled_pri_bits;
} VTAPI_ISCSI_DCBX_PORT_CONFIG;

typedef struct _VTAPI_MINIDUMP_CONFIG {
    uint8_t state;
    uint8_t capture_mask;
    uint8_t reserved[2];
} VTAPI_MINIDUMP_CONFIG;

#define VTAPI_ISCSI_DCBX_DATA_SIZE 1024

/* Refreshes the portal record of the function in the tree. */
VTAPI_STATUS VTAPI_GetHbaDevicePortalPropertyiSCSI(uint32_t hba, uint32_t portal_index);
VTAPI_STATUS VTAPI_GetiSCSIHBAParams(uint32_t hba, iSCSIHBAParams *params);
VTAPI_STATUS VTAPI_SetiSCSIHBAParams(uint32_t hba, const iSCSIHBAParams *params);
VTAPI_STATUS VTAPI_GetiSCSIBiosBootParams(uint32_t hba, iSCSIBootParams *params);
VTAPI_STATUS VTAPI_SetiSCSIBiosBootParams(uint32_t hba, const iSCSIBootParams *params);
VTAPI_STATUS VTAPI_GetiSCSIBootcodeDataFlags(uint32_t hba, uint16_t *flags);
VTAPI_STATUS VTAPI_GetiSCSITCPOptions(uint32_t hba, uint16_t *options);
VTAPI_STATUS VTAPI_IsBootCodeSupported(uint32_t hba, uint8_t *supported);
VTAPI_STATUS VTAPI_GetiSCSIHBAVersionCheckBootcodeDhcp(uint32_t hba, int32_t *value);
/* *buffer: NUL-terminated VPD text allocated for the caller; *size its length. */
VTAPI_STATUS VTAPI_iSCSIGetVpd(uint32_t hba, char **buffer, uint32_t *size);
VTAPI_STATUS VTAPI_SDIGetMiniDumpConfig(uint32_t hba, VTAPI_MINIDUMP_CONFIG *config);
VTAPI_STATUS VTAPI_SDISetMiniDumpConfig(uint32_t hba, const VTAPI_MINIDUMP_CONFIG *config);
/* Writes a firmware core dump to path. */
VTAPI_STATUS VTAPI_SDGetCoreDump(uint32_t hba, const char *path);
VTAPI_STATUS VTAPI_GetiSCSIStatistics(uint32_t hba, VTAPI_STAT_ENTRY **list, uint32_t *count);
VTAPI_STATUS VTAPI_SetBeaconing(uint32_t hba, uint32_t beacon_status);
/* One adapter loopback test run; 0 = pass. */
VTAPI_STATUS VTAPI_PerformLoopBackTest(uint32_t hba, uint32_t mode);
/* Fills length (VTAPI_ISCSI_DCBX_DATA_SIZE) bytes of DCBX data. */
VTAPI_STATUS VTAPI_SDGetiDCBXData(uint32_t hba, uint8_t *buffer, uint32_t length);
VTAPI_STATUS VTAPI_SDGetiDCBXConfig(uint32_t hba, VTAPI_ISCSI_DCBX_PORT_CONFIG *config);
VTAPI_STATUS VTAPI_SDSetiDCBXConfig(uint32_t hba, const VTAPI_ISCSI_DCBX_PORT_CONFIG *config);
VTAPI_STATUS VTAPI_GetiSCSIPortConfig(uint32_t hba, iSCSIPortConfig *config);
VTAPI_STATUS VTAPI_SetiSCSIPortConfig(uint32_t hba, const iSCSIPortConfig *config);
/* family 4 or 6; text of an address of type 1 or 2. */
VTAPI_STATUS VTAPI_ConvertIPAddressFromString(const char *text, VTAPI_ISCSIIPADDR *address,
                                              uint32_t family);
VTAPI_STATUS VTAPI_ConvertIPAddressToString(const VTAPI_ISCSIIPADDR *address, char *text,
                                            uint32_t length);

/* ================================================================== */
/* Diagnostics                                                          */
/* ================================================================== */

/* Settings block of the loopback and read/write buffer tests (144 bytes). */
typedef struct _VTAPI_DiagTestSettings {
    uint32_t lib0;                  /* 0: library default */
    int32_t number_of_test2;        /* 4: second copy of the iteration count */
    uint8_t lib1[12];               /* 8..19 */
    int32_t number_of_test;         /* 20 */
    int32_t pattern_type;           /* 24 */
    uint32_t loopback_type;         /* 28: 0..4 */
    int32_t reserved;               /* 32 */
    uint16_t reserved2;             /* 36 */
    uint16_t lib2;                  /* 38 */
    uint8_t test_pattern[8];        /* 40 */
    uint8_t reserved_bytes[64];     /* 48: acReserved of the buffer test */
    uint8_t lib3[11];               /* 112..122 */
    uint8_t device_attr;            /* 123: device topology byte */
    uint8_t lib4[20];               /* 124..143 */
} VTAPI_DiagTestSettings;

/* Test kinds of VTAPI_ResetToDefaultSettings. */
enum { VTAPI_DIAG_LOOPBACK = 0, VTAPI_DIAG_RWBUFFER = 1 };

/* Loopback result block (420 bytes). */
typedef struct _VTAPI_LoopbackResult {
    int32_t loopback_status;        /* 0 */
    char message[64];               /* 4 */
    int32_t crc_errors;             /* 68 */
    int32_t disparity_errors;       /* 72 */
    int32_t frame_length_errors;    /* 76 */
    int32_t status;                 /* 80 */
    char status_text[320];          /* 84 */
    int32_t reserved_status;        /* 404 */
    int8_t reserved_result[8];      /* 408 */
    uint8_t unused[4];              /* 416 */
} VTAPI_LoopbackResult;

/* FC echo (ELS echo) result. */
typedef struct _VTAPI_EchoElsResult {
    int32_t frames_sent;
    int32_t frames_received;
    uint32_t header[2];             /* library's own header words */
    int32_t response_length;
    int32_t echo_status;
    char message[256];
    uint32_t return_code;
    uint32_t elapsed_time;
} VTAPI_EchoElsResult;

/* RDP result block: 129 words, 508 data bytes. */
#define VTAPI_RDP_DATA_SIZE 508
typedef struct _VTAPI_RDPResult {
    uint32_t data_length;           /* valid bytes in data */
    uint32_t reserved;
    uint8_t data[VTAPI_RDP_DATA_SIZE];
} VTAPI_RDPResult;

typedef struct _VTAPI_RDPLength {
    uint32_t capacity;              /* caller sets VTAPI_RDP_DATA_SIZE */
    uint32_t return_code;
} VTAPI_RDPLength;

/* D-Port result block (60 words). Powers and losses in 0.01 dB(m) units,
 * valid only when their bit is set in valid_flags. */
#define VTAPI_DPORT_VALID_POWER   0x1u  /* hba_tx_power, hba_rx_power */
#define VTAPI_DPORT_VALID_LOSS    0x2u  /* allowable, egress and ingress losses */
typedef struct _VTAPI_DPortResult {
    uint32_t round_trip_latency_ns;
    uint32_t link_distance_m;
    uint32_t sw_port_overall_result;
    uint32_t sw_electrical_loopback_result;
    uint32_t sw_optical_loopback_result;
    uint32_t sw_link_traffic_result;
    uint32_t hba_port;
    uint32_t hba_overall_result;
    uint32_t hba_electrical_loopback_type;
    uint32_t hba_electrical_loopback_result;
    uint32_t hba_optical_loopback_type;
    uint32_t hba_optical_loopback_result;
    uint32_t hba_link_traffic_type;
    uint32_t hba_link_traffic_result;
    uint32_t start_time;
    uint32_t stop_time;
    uint32_t mbx1;
    uint32_t mbx2;
    uint32_t valid_flags;           /* VTAPI_DPORT_VALID_* */
    int32_t hba_tx_power;
    int32_t hba_rx_power;
    int32_t allowable_power_loss;
    int32_t egress_tx_power, egress_rx_power, egress_diff;
    int32_t ingress_tx_power, ingress_rx_power, ingress_diff;
    uint32_t reserved[32];
} VTAPI_DPortResult;

/* Link status of one device seen through the port (linked list). */
typedef struct _VTAPI_LinkStatus {
    int32_t link_status;
    char message[64];
    uint32_t loop_id;
    uint8_t port_id[3];
    uint8_t reserved;
    uint8_t node_wwn[VTAPI_WWN_LEN];
    uint8_t port_wwn[VTAPI_WWN_LEN];
    char dev_type[32];
    uint32_t controller_error_count, device_error_count, io_count, megabyte_count,
        lip_reset_count, interrupt_count, link_failure_count, loss_of_sync_count,
        loss_of_signal_count, primitive_seq_protocol_error_count,
        invalid_transmission_word_count, invalid_crc_count;
    int32_t status;
    char status_text[128];
    char reserved_status[64];
    struct _VTAPI_LinkStatus *next;
} VTAPI_LinkStatus;

/* Read/write buffer test result of one target (linked list). */
typedef struct _VTAPI_ReadWriteBufferTestResult {
    int32_t test_status;
    char message[64];
    uint32_t loop_id;
    uint8_t port_id[3];
    uint8_t reserved;
    uint32_t data_miscompare, link_failure, sync_loss, signal_loss, invalid_crc;
    int32_t status;
    char status_text[128];
    uint8_t node_wwn[VTAPI_WWN_LEN];
    uint8_t port_wwn[VTAPI_WWN_LEN];
    uint32_t reserved_result;
    struct _VTAPI_ReadWriteBufferTestResult *next;
} VTAPI_ReadWriteBufferTestResult;

/* SAN congestion management statistics of one remote port (linked list,
 * one allocation: release the head with VTAPI_FreeMem). */
typedef struct _VTAPI_SANCONGTMGMTV2 {
    uint32_t loop_id;
    uint8_t node_wwn[VTAPI_WWN_LEN];
    uint32_t version;
    uint8_t port_wwn[VTAPI_WWN_LEN];
    uint32_t device_idx;
    uint8_t port_id[3];
    uint8_t reserved;
    uint64_t congestion_alarm;
    uint32_t device_type;
    uint64_t congestion_warning;
    uint64_t cleared_congestion, throttled_down, throttled_up, returned_busy, bottomed_out;
    uint32_t link_failure_count, link_unknown_event, loss_of_sync_count,
        loss_of_signal_count, primitive_seq_protocol_error_count,
        invalid_transmission_word_count, invalid_crc_count, link_device_specific_event;
    uint32_t delivery_failure_unknown, delivery_timeout, delivery_unable_to_route,
        delivery_failure_device_specific;
    uint32_t peer_congestion_clear, peer_congestion_lost_credit,
        peer_congestion_credit_stall, peer_congestion_oversubscription,
        peer_congestion_device_specific;
    uint32_t pun_clear, pun_count;
    int32_t result;
    char message[128];
    uint64_t timestamp;
    struct _VTAPI_SANCONGTMGMTV2 *next;
} VTAPI_SANCONGTMGMTV2;

/* Ethernet ping: settings in, summary out. */
typedef struct _VTAPI_NicPingSettings {
    int32_t opt_addrfamily;         /* 4 or 6 */
    int32_t opt_count;
    int32_t interval;               /* milliseconds */
    int32_t send_ttl;
    char ip_address[64];
    /* filled by VTAPI_NicPingTest */
    uint32_t packets_transmitted;
    uint32_t packets_received;
    float percent_packet_loss;
    float latency_total, latency_min, latency_average, latency_max, latency_deviation;
} VTAPI_NicPingSettings;

typedef struct _VTAPI_NicPingTestResultList {
    uint32_t data_len;
    uint32_t sequence;
    uint32_t receive_ttl;
    uint32_t latency;               /* microseconds */
    char status[64];
    struct _VTAPI_NicPingTestResultList *next;
} VTAPI_NicPingTestResultList;

/* Adapter-side Ethernet port test. */
typedef struct _VTAPI_PortTestSettings {
    char ifname[VTAPI_NAME_LEN];    /* port to test */
    uint32_t pattern_id;
    uint32_t custom_pattern;
    uint32_t size;
    uint32_t test_id;
    uint32_t loop_count;
    uint32_t stop_on_error;
    uint32_t loop_continuously;
    uint32_t ping_count;
    uint32_t packet_size;
    uint32_t timeout;
    uint32_t ttl;
    char target_address[64];
} VTAPI_PortTestSettings;

typedef struct _VTAPI_PortTestCapabilities {
    uint32_t supported_test_id_map;
    uint32_t frames_per_loop;
    uint32_t loop_count_supported;
    uint32_t test_data_supported;
} VTAPI_PortTestCapabilities;

typedef struct _VTAPI_PortTestStatus {
    uint32_t test_id;
    uint32_t passed;
    uint32_t failed;
    uint32_t timeouts;
    uint32_t status;                /* 0 idle, 1 running, 2 done, 3 stopped */
    uint32_t error_code;
} VTAPI_PortTestStatus;

#define VTAPI_INVALID_HANDLE 0xFFFFFFFFu

VTAPI_STATUS VTAPI_ResetToDefaultSettings(VTAPI_DiagTestSettings *settings,
                                          VTAPISDMDevice *device, uint32_t test_kind);
VTAPI_STATUS VTAPI_DiagnosticsLoopBackTest(VTAPI_LoopbackResult *result,
                                           VTAPISDMDevice *device,
                                           const VTAPI_DiagTestSettings *request);
VTAPI_STATUS VTAPI_AbortDiagTest(VTAPISDMDevice *device, uint32_t flag);
VTAPI_STATUS VTAPI_DiagnosticsFCPingTest(VTAPISDMDevice *device, const char *target_wwpn,
                                         int32_t iterations, int32_t stop_on_error,
                                         uint32_t *elapsed, char *text, uint32_t text_size);
VTAPI_STATUS VTAPI_DiagnosticsEchoElsTest(VTAPISDMDevice *device, const char *target_wwpn,
                                          int32_t iterations, int32_t stop_on_error,
                                          int32_t address_type, VTAPI_EchoElsResult *result);
VTAPI_STATUS VTAPI_DiagnosticsCTCommand(VTAPISDMDevice *device, const char *target_wwpn,
                                        int32_t ct_diag_type, int32_t stop_on_error,
                                        uint32_t *elapsed, char *text, uint32_t text_size,
                                        int32_t iterations);
VTAPI_STATUS VTAPI_DiagnosticsRDPTest(VTAPISDMDevice *device, VTAPI_RDPResult *result,
                                      VTAPI_RDPLength *length);
/* Non-zero when D-Port mode is enabled on the adapter. */
uint32_t VTAPI_CheckAdapterDPortOption(VTAPISDMDevice *device);
VTAPI_STATUS VTAPI_ConfigureAdapterDPortSettings(VTAPISDMDevice *device, uint8_t enable,
                                                 uint8_t flag);
VTAPI_STATUS VTAPI_DiagnosticDPortTest(VTAPI_DPortResult *result, VTAPISDMDevice *device,
                                       void *scratch, uint32_t reserved);
VTAPI_STATUS VTAPI_DiagnosticDPortTestV2(VTAPISDMDevice *device, VTAPI_DPortResult *result);
/* List-returning tests: *list is a linked list released with the matching
 * free call (null when empty). */
VTAPI_STATUS VTAPI_GetLinkStatus(VTAPISDMDevice *device, VTAPI_LinkStatus **list);
void VTAPI_FreeLinkStatusResultList(VTAPI_LinkStatus *list);
VTAPI_STATUS VTAPI_DiagnosticsReadWriteBufferTest(VTAPISDMDevice *device,
                                                  const VTAPI_DiagTestSettings *settings,
                                                  VTAPI_ReadWriteBufferTestResult **list);
void VTAPI_FreeRWBufferTestResultList(VTAPI_ReadWriteBufferTestResult *list);
VTAPI_STATUS VTAPI_GetSCMRStatisticsList(VTAPISDMDevice *device, VTAPI_SANCONGTMGMTV2 **list);
VTAPI_STATUS VTAPI_SANCongMgmtResetStatistics(VTAPISDMDevice *device);

/* settings: in the settings, out the summary; *list: one record per reply. */
VTAPI_STATUS VTAPI_NicPingTest(const char *ifname, VTAPI_NicPingSettings *settings,
                               VTAPI_NicPingTestResultList **list);
void VTAPI_FreeNicPingTestResultList(VTAPI_NicPingTestResultList *list);
VTAPI_STATUS VTAPI_GetPortTestCapabilities(const char *ifname,
                                           VTAPI_PortTestCapabilities *caps);
VTAPI_STATUS VTAPI_StartPortTest(const VTAPI_PortTestSettings *settings, uint32_t *handle);
VTAPI_STATUS VTAPI_StopPortTest(uint32_t handle);
VTAPI_STATUS VTAPI_DestroyPortTest(uint32_t handle);
VTAPI_STATUS VTAPI_GetPortTestStatus(uint32_t handle, VTAPI_PortTestStatus *status);

/* iSCSI ping from the function's own stack; 0 = reply received. */
VTAPI_STATUS VTAPI_SDDiagPing(uint32_t hba, const VTAPI_ISCSIIPADDR *address,
                              uint32_t packet_size, uint32_t source_address_flag);

/* ================================================================== */
/* Firmware updates                                                     */
/* ================================================================== */

/* Each takes the staged image file; option is the update-option bit. */
VTAPI_STATUS VTAPI_doOptionROMUpdate(VTAPISDMDevice *device, const char *file,
                                     uint32_t option);
/* instance: the library instance (HBA) number of the adapter's NIC function. */
VTAPI_STATUS VTAPI_UpdateFlash(uint32_t instance, const char *file, uint32_t option);
VTAPI_STATUS VTAPI_UpdateiSCSIFW(uint32_t instance, const char *file, uint32_t reserved,
                                 uint32_t option);

/* Layouts that callers read at fixed places. */
#ifdef __cplusplus
#define VTAPI_STATIC_ASSERT(c, m) static_assert(c, m)
#else
#define VTAPI_STATIC_ASSERT(c, m) _Static_assert(c, m)
#endif
VTAPI_STATIC_ASSERT(sizeof(vtapi_ipaddr) == 24, "address record is 24 bytes");
VTAPI_STATIC_ASSERT(sizeof(NicParams) == VTAPI_NICPARAMS_WORDS * 4, "29-word NIC record");
VTAPI_STATIC_ASSERT(sizeof(VTAPI_DiagTestSettings) == 144, "settings block is 36 words");
VTAPI_STATIC_ASSERT(offsetof(VTAPI_DiagTestSettings, device_attr) == 123, "byte 123");
VTAPI_STATIC_ASSERT(offsetof(VTAPI_DiagTestSettings, test_pattern) == 40, "pattern at 40");
VTAPI_STATIC_ASSERT(sizeof(VTAPI_LoopbackResult) == 420, "result block is 105 words");
VTAPI_STATIC_ASSERT(offsetof(VTAPI_LoopbackResult, status_text) == 84, "status text at 84");
VTAPI_STATIC_ASSERT(sizeof(VTAPI_RDPResult) == 129 * 4, "RDP block is 129 words");
VTAPI_STATIC_ASSERT(sizeof(VTAPI_DPortResult) == 60 * 4, "D-Port block is 60 words");
VTAPI_STATIC_ASSERT(offsetof(struct _tagVTAPISDMDevice, link_status) == 0, "link status first");
VTAPI_STATIC_ASSERT(offsetof(struct _vtapi_protocol_t, device) == 0, "device record first");
VTAPI_STATIC_ASSERT(offsetof(struct _vtapi_phy_port_t, port_number) == 0, "port number first");
VTAPI_STATIC_ASSERT(offsetof(struct _vtapi_adapter_list_t, first) == sizeof(void *),
                    "list head: count, then first node");

#ifdef __cplusplus
}
#endif

#endif /* VTAPI_H */
