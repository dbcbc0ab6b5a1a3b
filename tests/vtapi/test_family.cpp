// The adapter family's identifier table: the lookups the provider relies on,
// including IDs outside the table and boards of another vendor.
#include "vtapi_family.h"

#include <gtest/gtest.h>

TEST(Family, LookupsGroupsAndUnknownIds) {
    int members[3] = {}, tamarind = 0, juniper = 0, cobalt = 0;
    const uint16_t V = VTAPI_FAMILY_VENDOR_ID;
    for (const auto& c : vtapi_family_chips) {
        EXPECT_EQ(vtapi_family_chip_type(c.device_id), c.chip_type);
        EXPECT_EQ(vtapi_family_find(c.device_id), &c);
        // 4 Gb family members ignore bit 4; PCI Express members are older chips.
        int m = vtapi_family_4gb_member(c.device_id);
        ++members[m];
        if (m) {
            EXPECT_EQ(vtapi_family_4gb_member(c.device_id ^ 0x10), m);
        }
        if (vtapi_family_is_pcie_legacy(c.device_id)) {
            EXPECT_LT(c.chip_type, 12);
        }
        bool t = vtapi_family_in_subfamily(VTAPI_SUBFAMILY_TAMARIND, V, c.device_id);
        bool j = vtapi_family_in_subfamily(VTAPI_SUBFAMILY_JUNIPER, V, c.device_id);
        bool k = vtapi_family_in_subfamily(VTAPI_SUBFAMILY_COBALT, V, c.device_id);
        EXPECT_LE(t + j + k, 1) << std::hex << c.device_id;
        tamarind += t, juniper += j, cobalt += k;
        EXPECT_FALSE(vtapi_family_in_subfamily(VTAPI_SUBFAMILY_TAMARIND, V + 1, c.device_id));
    }
    EXPECT_GT(members[1], 0);
    EXPECT_GT(members[2], 0);
    EXPECT_EQ(tamarind + juniper, 9);
    EXPECT_EQ(cobalt, 8);
    EXPECT_EQ(vtapi_family_device_id(25, 9), 0) << "only nine";
    EXPECT_FALSE(vtapi_family_in_subfamily((vtapi_subfamily_t)7, V, 0x7A90));
    // Anything outside the table is the 8 Gb chip's type but not the 8 Gb chip.
    for (uint16_t id : {0x0000, 0xFFFF, 0x7A08, 0x7AFF, 0x2532})
        EXPECT_EQ(vtapi_family_chip_type(id), 12u) << std::hex << id;
    EXPECT_FALSE(vtapi_family_is_8gb(0x7AFF));
    EXPECT_TRUE(vtapi_family_is_8gb(vtapi_family_device_id(12, 1)));
    EXPECT_EQ(vtapi_family_find(0x7AFF), nullptr);
}

TEST(Family, BoardsAreToldByChipVendorAndSubsystem) {
    const uint16_t V = VTAPI_FAMILY_VENDOR_ID;
    const uint16_t tam = vtapi_family_device_id(25, 0);
    uint16_t jun = 0;
    for (const auto& c : vtapi_family_chips)
        if (vtapi_family_in_subfamily(VTAPI_SUBFAMILY_JUNIPER, V, c.device_id)) jun = c.device_id;
    ASSERT_NE(jun, 0);
    EXPECT_TRUE(vtapi_family_is_tamarind_16g_board(tam, V, vtapi_tamarind_16g_subsys[3]));
    EXPECT_FALSE(vtapi_family_is_tamarind_16g_board(tam, V + 1, vtapi_tamarind_16g_subsys[0]));
    EXPECT_FALSE(vtapi_family_is_tamarind_16g_board(tam, V, vtapi_juniper_16g_subsys[0]));
    EXPECT_FALSE(vtapi_family_is_tamarind_16g_board(jun, V, vtapi_tamarind_16g_subsys[0]));
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(vtapi_family_is_juniper_16g_board(jun, vtapi_juniper_16g_subsys[i]));
        EXPECT_FALSE(vtapi_family_is_juniper_32g_board(jun, vtapi_juniper_16g_subsys[i]));
        EXPECT_TRUE(vtapi_family_is_juniper_32g_board(jun, vtapi_juniper_32g_subsys[i]));
        EXPECT_FALSE(vtapi_family_is_juniper_16g_board(tam, vtapi_juniper_16g_subsys[i]));
    }
}
