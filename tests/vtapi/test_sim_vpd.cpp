// PCI VPD images: built from keyword/value pairs, read back, and served as
// the description says.
#include "sim_internal.h"
#include "vtapi.h"
#include "vtsim.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

TEST(Vpd, ImageHasThePciLayoutAndRoundTrips) {
    vtsim::VpdFields f;
    f.id = "Veltra 32Gb FC HBA";
    f.ro = {{"PN", "VT3402"}, {"EC", "A02"}, {"SN", "VT27C40118"}, {"V9", "03.20.12"}, {"RV", "ignored"}};
    f.rw = {{"YA", "rack 7"}};
    std::vector<uint8_t> img = vtsim::buildVpd(f);

    // Identifier string first, length little-endian.
    ASSERT_GE(img.size(), 3u + f.id.size());
    EXPECT_EQ(img[0], 0x82);
    EXPECT_EQ(img[1] | (img[2] << 8), static_cast<int>(f.id.size()));
    EXPECT_EQ(std::string(img.begin() + 3, img.begin() + 3 + static_cast<long>(f.id.size())), f.id);
    // VPD-R follows; its RV keyword is the last one and makes the sum zero.
    size_t ro = 3 + f.id.size();
    EXPECT_EQ(img[ro], 0x90);
    size_t roLen = img[ro + 1] | (img[ro + 2] << 8);
    size_t rvData = ro + 3 + roLen - 1;   // RV carries exactly one byte here
    EXPECT_EQ(img[rvData - 3], 'R');
    EXPECT_EQ(img[rvData - 2], 'V');
    EXPECT_EQ(static_cast<uint8_t>(std::accumulate(img.begin(), img.begin() + static_cast<long>(rvData) + 1, 0)), 0);
    EXPECT_EQ(img[rvData + 1], 0x91);
    EXPECT_EQ(img.back(), 0x78);

    vtsim::VpdFields back;
    bool sumOk = false;
    ASSERT_TRUE(vtsim::parseVpd(img, back, &sumOk));
    EXPECT_TRUE(sumOk);
    EXPECT_EQ(back.id, f.id);
    EXPECT_EQ(back.ro, (Pairs{{"PN", "VT3402"}, {"EC", "A02"}, {"SN", "VT27C40118"}, {"V9", "03.20.12"}}));
    EXPECT_EQ(back.rw, (Pairs{{"YA", "rack 7"}}));

    // Any flipped byte before RV breaks the checksum.
    img[5] ^= 0x20;
    ASSERT_TRUE(vtsim::parseVpd(img, back, &sumOk));
    EXPECT_FALSE(sumOk);
}

TEST(Vpd, BoundsAndBrokenImages) {
    vtsim::VpdFields f;
    f.ro = {{"V0", std::string(400, 'x')}, {"PN", ""}};
    std::vector<uint8_t> img = vtsim::buildVpd(f);
    vtsim::VpdFields back;
    ASSERT_TRUE(vtsim::parseVpd(img, back));
    ASSERT_EQ(back.ro.size(), 2u);
    EXPECT_EQ(back.ro[0].second.size(), 255u) << "a keyword holds at most 255 bytes";
    EXPECT_EQ(back.ro[1].second, "");
    EXPECT_TRUE(back.rw.empty()) << "no VPD-W unless asked";

    // Truncated images, a keyword running past its section, no end tag.
    std::vector<uint8_t> cut(img.begin(), img.end() - 1);
    EXPECT_FALSE(vtsim::parseVpd(cut, back));
    std::vector<uint8_t> over = img;
    over[4] -= 1;   // VPD-R one byte short: its RV keyword runs past the section
    EXPECT_FALSE(vtsim::parseVpd(over, back));
    EXPECT_FALSE(vtsim::parseVpd({0x82, 0xff, 0xff}, back));
    EXPECT_FALSE(vtsim::parseVpd({}, back));
}

TEST(Vpd, ControlInterfaceAndDescriptionForms) {
    // The control interface reports the full length when the buffer is short.
    const char* ro[] = {"PN=VT1", "SN=S1"};
    uint8_t buf[256], tiny[4];
    size_t n = vtsim_build_vpd("Id", ro, 2, nullptr, 0, buf, sizeof buf);
    ASSERT_GT(n, 0u);
    EXPECT_EQ(vtsim_build_vpd("Id", ro, 2, nullptr, 0, tiny, sizeof tiny), n);
    const char* bad[] = {"PNX=1"};
    EXPECT_EQ(vtsim_build_vpd("Id", bad, 1, nullptr, 0, buf, sizeof buf), 0u);
    const char* none[] = {nullptr};
    EXPECT_EQ(vtsim_build_vpd("Id", none, 1, nullptr, 0, buf, sizeof buf), 0u);

    vtsim_reset();
    ASSERT_EQ(vtsim_load_host_json(R"({"adapters":[
        {"name":"V1","vpd":{"id":"Board","ro":[["SN","V1"],["PN","P-1"]]},
         "ports":[{"functions":[{"name":"a"},{"name":"b","vpd":"82 00 00 78"},
                                {"name":"c","vpd":[130,1,0,65,120]},{"name":"d","vpd":null}]}]},
        {"name":"DFLT","ports":[{"functions":[{"name":"e"}]}]}]})"), 0)
        << vtsim_last_error();
    auto g = vtsim::lock();
    vtsim::VpdFields v;
    ASSERT_TRUE(vtsim::parseVpd(vtsim::findByName("a").fn->vpd, v)) << "adapter VPD is the default";
    EXPECT_EQ(v.ro, (Pairs{{"SN", "V1"}, {"PN", "P-1"}}));
    EXPECT_EQ(vtsim::findByName("b").fn->vpd, (std::vector<uint8_t>{0x82, 0, 0, 0x78}));
    EXPECT_EQ(vtsim::findByName("c").fn->vpd, (std::vector<uint8_t>{130, 1, 0, 65, 120}));
    EXPECT_TRUE(vtsim::findByName("d").fn->vpd.empty()) << "null: no VPD";

    // Without any VPD given, the image carries the adapter's identity.
    bool sumOk = false;
    ASSERT_TRUE(vtsim::parseVpd(vtsim::findByName("e").fn->vpd, v, &sumOk));
    EXPECT_TRUE(sumOk);
    EXPECT_TRUE(std::find(v.ro.begin(), v.ro.end(), std::make_pair(std::string("SN"), std::string("DFLT"))) !=
                v.ro.end());
}

}  // namespace
