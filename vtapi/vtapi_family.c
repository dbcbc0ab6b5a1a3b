/*
 * vtapi_family.c - the adapter family's identifier table.
 *
 * All values are invented placeholders (see vtapi_family.h); only the
 * structure is meaningful: 47 IDs, chip types 0..27, two IDs for types 12,
 * 21, 24 and 26, nine for 25, eight for 27, one for every other type.
 */
#include "vtapi_family.h"

#include <stddef.h>

#define PCIE VTAPI_CHIPF_PCIE_LEGACY

const vtapi_chip_id_t vtapi_family_chips[VTAPI_FAMILY_CHIP_COUNT] = {
    /* 1 Gb and 2 Gb generations */
    {0x7A00, 0, 0, "VT1000"},
    {0x7A01, 1, 0, "VT1010"},
    {0x7A02, 2, 0, "VT2000"},
    {0x7A03, 3, 0, "VT2010"},
    {0x7A04, 4, PCIE, "VT2000E"},
    {0x7A05, 5, PCIE, "VT2010E"},
    {0x7A06, 6, 0, "VT2100"},
    {0x7A07, 7, 0, "VT2110"},
    /* 4 Gb family: two members; the PCIe variant of each has bit 4 set */
    {0x7A20, 8, 0, "VT4000"},
    {0x7A30, 9, PCIE, "VT4000E"},
    {0x7A40, 10, 0, "VT4100"},
    {0x7A50, 11, PCIE, "VT4100E"},
    /* the 8 Gb chip (single and dual port) */
    {0x7A60, 12, 0, "VT8000"},
    {0x7A61, 12, 0, "VT8002"},
    {0x7A62, 13, 0, "VT8100"},
    {0x7A63, 14, 0, "VT8200"},
    {0x7A64, 15, 0, "VC8000"},     /* converged */
    {0x7A65, 16, 0, "VT8300"},
    {0x7A66, 17, 0, "VC8100"},     /* converged */
    {0x7A67, 18, 0, "VN1000"},
    {0x7A68, 19, 0, "VN1100"},
    {0x7A69, 20, 0, "Saffron"},    /* newer-generation NIC */
    {0x7A70, 21, 0, "VC10000"},    /* converged */
    {0x7A71, 21, 0, "VC10002"},
    {0x7A72, 22, 0, "VN2000"},
    {0x7A73, 23, 0, "VN2100"},
    /* 16 Gb family */
    {0x7A80, 24, 0, "VT16000"},
    {0x7A81, 24, 0, "VT16002"},
    /* 16/32 Gb family: Tamarind (bit 3 masked) and Juniper (bit 0 masked) */
    {0x7A90, 25, 0, "Tamarind"},
    {0x7A91, 25, 0, "Tamarind-2"},
    {0x7A92, 25, 0, "Tamarind-4"},
    {0x7A93, 25, 0, "Tamarind-M"},
    {0x7A98, 25, 0, "Tamarind-V"},
    {0x7A99, 25, 0, "Tamarind-2V"},
    {0x7A9A, 25, 0, "Tamarind-4V"},
    {0x7AA0, 25, 0, "Juniper"},
    {0x7AA1, 25, 0, "Juniper-V"},
    {0x7AB0, 26, 0, "VC16000"},    /* converged */
    {0x7AB1, 26, 0, "VC16002"},
    /* newest family: Cobalt (bits 0-2 masked) */
    {0x7AC0, 27, 0, "Cobalt"},
    {0x7AC1, 27, 0, "Cobalt-2"},
    {0x7AC2, 27, 0, "Cobalt-4"},
    {0x7AC3, 27, 0, "Cobalt-M"},
    {0x7AC4, 27, 0, "Cobalt-V"},
    {0x7AC5, 27, 0, "Cobalt-2V"},
    {0x7AC6, 27, 0, "Cobalt-4V"},
    {0x7AC7, 27, 0, "Cobalt-MV"},
};

/* 4 Gb members, compared with bit 4 masked off. */
static const uint16_t k4GbMembers[2] = {0x7A20, 0x7A40};
#define MASK_4GB 0x0010u

/* Sub-families: the masked bits and the IDs they reduce to. */
static const struct {
    uint16_t mask;
    uint16_t base[4];
    unsigned nbase;
} kSubfamilies[] = {
    [VTAPI_SUBFAMILY_TAMARIND] = {0x0008, {0x7A90, 0x7A91, 0x7A92, 0x7A93}, 4},
    [VTAPI_SUBFAMILY_JUNIPER] = {0x0001, {0x7AA0}, 1},
    [VTAPI_SUBFAMILY_COBALT] = {0x0007, {0x7AC0}, 1},
};

const uint16_t vtapi_tamarind_16g_subsys[VTAPI_TAMARIND_16G_SUBSYS_COUNT] = {
    0xB160, 0xB161, 0xB162, 0xB163};
const uint16_t vtapi_juniper_16g_subsys[2] = {0xB1A0, 0xB1A1};
const uint16_t vtapi_juniper_32g_subsys[2] = {0xB3A0, 0xB3A1};

static int in_list(uint16_t v, const uint16_t *list, unsigned n)
{
    for (unsigned i = 0; i < n; i++)
        if (list[i] == v)
            return 1;
    return 0;
}

const vtapi_chip_id_t *vtapi_family_find(uint16_t device_id)
{
    for (unsigned i = 0; i < VTAPI_FAMILY_CHIP_COUNT; i++)
        if (vtapi_family_chips[i].device_id == device_id)
            return &vtapi_family_chips[i];
    return NULL;
}

uint32_t vtapi_family_chip_type(uint16_t device_id)
{
    const vtapi_chip_id_t *c = vtapi_family_find(device_id);
    return c ? c->chip_type : (uint32_t)VTAPI_CHIP_UNKNOWN;
}

uint16_t vtapi_family_device_id(uint32_t chip_type, unsigned n)
{
    for (unsigned i = 0; i < VTAPI_FAMILY_CHIP_COUNT; i++)
        if (vtapi_family_chips[i].chip_type == chip_type && n-- == 0)
            return vtapi_family_chips[i].device_id;
    return 0;
}

int vtapi_family_4gb_member(uint16_t device_id)
{
    uint16_t masked = (uint16_t)(device_id & ~MASK_4GB);
    for (int i = 0; i < 2; i++)
        if (masked == k4GbMembers[i])
            return i + 1;
    return 0;
}

int vtapi_family_is_8gb(uint16_t device_id)
{
    const vtapi_chip_id_t *c = vtapi_family_find(device_id);
    return c && c->chip_type == VTAPI_CHIP_8GB;
}

int vtapi_family_is_pcie_legacy(uint16_t device_id)
{
    const vtapi_chip_id_t *c = vtapi_family_find(device_id);
    return c && (c->flags & VTAPI_CHIPF_PCIE_LEGACY);
}

int vtapi_family_is_converged_type(uint32_t chip_type)
{
    return chip_type == VTAPI_CHIP_CONVERGED_A || chip_type == VTAPI_CHIP_CONVERGED_B ||
           chip_type == VTAPI_CHIP_CONVERGED_C || chip_type == VTAPI_CHIP_CONVERGED_D;
}

int vtapi_family_in_subfamily(vtapi_subfamily_t sub, uint16_t vendor_id, uint16_t device_id)
{
    if ((unsigned)sub >= sizeof kSubfamilies / sizeof kSubfamilies[0] ||
        vendor_id != VTAPI_FAMILY_VENDOR_ID)
        return 0;
    uint16_t masked = (uint16_t)(device_id & ~kSubfamilies[sub].mask);
    return in_list(masked, kSubfamilies[sub].base, kSubfamilies[sub].nbase);
}

int vtapi_family_is_tamarind_16g_board(uint16_t device_id, uint16_t subsys_vendor,
                                       uint16_t subsys_device)
{
    return vtapi_family_in_subfamily(VTAPI_SUBFAMILY_TAMARIND, VTAPI_FAMILY_VENDOR_ID,
                                     device_id) &&
           subsys_vendor == VTAPI_FAMILY_VENDOR_ID &&
           in_list(subsys_device, vtapi_tamarind_16g_subsys, VTAPI_TAMARIND_16G_SUBSYS_COUNT);
}

int vtapi_family_is_juniper_16g_board(uint16_t device_id, uint16_t subsys_device)
{
    return vtapi_family_in_subfamily(VTAPI_SUBFAMILY_JUNIPER, VTAPI_FAMILY_VENDOR_ID,
                                     device_id) &&
           in_list(subsys_device, vtapi_juniper_16g_subsys, 2);
}

int vtapi_family_is_juniper_32g_board(uint16_t device_id, uint16_t subsys_device)
{
    return vtapi_family_in_subfamily(VTAPI_SUBFAMILY_JUNIPER, VTAPI_FAMILY_VENDOR_ID,
                                     device_id) &&
           in_list(subsys_device, vtapi_juniper_32g_subsys, 2);
}
