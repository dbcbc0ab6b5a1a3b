/*
 * vtapi_family.h - PCI identifiers of the Veltra adapter family and the
 * chip classification built on them.
 *
 * This is the one place where the family's PCI vendor ID, its 47 device IDs
 * (each with its chip type 0..27) and the board subsystem IDs live. The
 * provider and the simulated library both use it.
 *
 * NOTE: every number in vtapi_family.c is an invented placeholder (vendor
 * 0x1FEE, device IDs 0x7Axx, subsystem IDs 0xBxxx). They reproduce the
 * structure the provider relies on - which types exist, how many IDs each
 * has, which groups other code tests - and nothing else. The real values
 * drop in by editing the table in vtapi_family.c only.
 */
#ifndef VTAPI_FAMILY_H
#define VTAPI_FAMILY_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define VTAPI_FAMILY_VENDOR_ID   0x1FEEu
#define VTAPI_FAMILY_CHIP_COUNT  47

/* Chip types that other code names. */
enum {
    VTAPI_CHIP_TYPE_MAX = 27,
    VTAPI_CHIP_OPTROM_MIN = 6,      /* below: no option-ROM versions */
    VTAPI_CHIP_VPD_MIN = 8,         /* below: no VPD read; from here 4 Gb or newer */
    VTAPI_CHIP_8GB = 12,            /* the 8 Gb chip; also every unknown ID */
    VTAPI_CHIP_CONVERGED_A = 15,    /* converged (FCoE) chips: 15, 17, 21, 26 */
    VTAPI_CHIP_CONVERGED_B = 17,
    VTAPI_CHIP_SAFFRON = 20,        /* newer-generation NIC chip (NPAR FCoE mask) */
    VTAPI_CHIP_CONVERGED_C = 21,
    VTAPI_CHIP_16GB = 24,           /* 16 Gb chip family */
    VTAPI_CHIP_TAMARIND = 25,       /* 16/32 Gb family (Tamarind and Juniper) */
    VTAPI_CHIP_CONVERGED_D = 26,
    VTAPI_CHIP_COBALT = 27,         /* newest family */
    VTAPI_CHIP_UNKNOWN = VTAPI_CHIP_8GB
};

/* Flags of a table entry. */
#define VTAPI_CHIPF_PCIE_LEGACY  0x01  /* PCI Express member of an older family */

typedef struct vtapi_chip_id {
    uint16_t device_id;
    uint8_t chip_type;
    uint8_t flags;
    const char *name;               /* short chip name for logs and tools */
} vtapi_chip_id_t;

/* The 47 entries, ordered by chip type. */
extern const vtapi_chip_id_t vtapi_family_chips[VTAPI_FAMILY_CHIP_COUNT];

/* Chip type of a PCI device ID; VTAPI_CHIP_UNKNOWN (12) for any other ID. */
uint32_t vtapi_family_chip_type(uint16_t device_id);

/* Table entry of a device ID, or null. */
const vtapi_chip_id_t *vtapi_family_find(uint16_t device_id);

/* The n-th device ID (from 0) of a chip type; 0 when there is none. */
uint16_t vtapi_family_device_id(uint32_t chip_type, unsigned n);

/* 1 or 2 for the two members of the 4 Gb family (bit 4 masked off), else 0. */
int vtapi_family_4gb_member(uint16_t device_id);
/* 1 when the ID is that of the 8 Gb chip. */
int vtapi_family_is_8gb(uint16_t device_id);
/* 1 for the PCI Express members of the older (pre-8 Gb) families. */
int vtapi_family_is_pcie_legacy(uint16_t device_id);
/* 1 for the converged chip types 15, 17, 21 and 26. */
int vtapi_family_is_converged_type(uint32_t chip_type);

/* Named sub-families, each matched with its own bit masked off the ID. */
typedef enum vtapi_subfamily {
    VTAPI_SUBFAMILY_TAMARIND = 0,
    VTAPI_SUBFAMILY_JUNIPER = 1,
    VTAPI_SUBFAMILY_COBALT = 2
} vtapi_subfamily_t;

/* 1 when vendor is the family's and the device ID belongs to the sub-family. */
int vtapi_family_in_subfamily(vtapi_subfamily_t sub, uint16_t vendor_id,
                              uint16_t device_id);

/* Board tests on the subsystem IDs of a type-25 device. */
int vtapi_family_is_tamarind_16g_board(uint16_t device_id, uint16_t subsys_vendor,
                                       uint16_t subsys_device);
int vtapi_family_is_juniper_16g_board(uint16_t device_id, uint16_t subsys_device);
int vtapi_family_is_juniper_32g_board(uint16_t device_id, uint16_t subsys_device);

/* Board subsystem device ID sets. */
#define VTAPI_TAMARIND_16G_SUBSYS_COUNT 4
extern const uint16_t vtapi_tamarind_16g_subsys[VTAPI_TAMARIND_16G_SUBSYS_COUNT];
extern const uint16_t vtapi_juniper_16g_subsys[2];
extern const uint16_t vtapi_juniper_32g_subsys[2];

#ifdef __cplusplus
}
#endif

#endif /* VTAPI_FAMILY_H */
