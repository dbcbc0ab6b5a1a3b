// "Veltra_iSCSI_DCBParams": instances of functions whose DCBX configuration
// reads, and modify requests with scalar values and 8-element arrays.
#include "iscsi_test.h"

namespace {

const char* const kDCB = "Veltra_iSCSI_DCBParams";

vcim::Property bytes(const char* name, std::vector<uint64_t> values)
{
    std::vector<vcim::Value> elements;
    for (uint64_t v : values)
        elements.push_back(vcim::Value::uint(CMPI_uint8, v));
    return {name, vcim::Value::array(CMPI_uint8, std::move(elements))};
}

using ISCSIDCBTest = ISCSIClassTest;

// Functions whose configuration reads have an instance; modify requests write
// the whole record with the listed values.
TEST_F(ISCSIDCBTest, InstancesAndModify)
{
    start();
    EXPECT_EQ(keys(kDCB), (std::vector<std::string>{"vmhba8", "vmhba10"}));
    EXPECT_EQ(get(kDCB, "VMHBA10")["GroupPercentages"], "50,50,0,0,0,0,0,0");
    ASSERT_EQ(vtsim_fault("VTAPI_SDGetiDCBXConfig", 9, 1), 0);
    EXPECT_EQ(keys(kDCB), (std::vector<std::string>{"vmhba10"}));
    ASSERT_EQ(vtsim_fault("VTAPI_SDGetiDCBXConfig", 9, 1), 0);
    vcim::Instance none;
    EXPECT_EQ(broker().getInstance(keyPath(kDCB, "vmhba8"), nullptr, none).rc, CMPI_RC_ERR_NOT_FOUND);

    // Elements after the eighth are ignored.
    ASSERT_TRUE(set(kDCB, "vmhba8",
                    {uint32("SAN_Priority_CoS", 5), bytes("GroupPercentages", {60, 40, 0, 0, 0, 0, 0, 0, 7, 7}),
                     bytes("IEEE_TC_FOR_PRIORITY", {0, 1, 2, 3, 4, 5, 6, 7}), uint8("IsWilling", 0)},
                    vcim::PropertyList{"SAN_Priority_CoS", "GroupPercentages", "IEEE_TC_FOR_PRIORITY"})
                    .ok());
    EXPECT_EQ(setCalls(), (std::vector<std::string>{"VTAPI_SDSetiDCBXConfig()"}));
    auto dcb = get(kDCB, "vmhba8");
    EXPECT_EQ(dcb["SAN_Priority_CoS"], "5");
    EXPECT_EQ(dcb["GroupPercentages"], "60,40,0,0,0,0,0,0");
    EXPECT_EQ(dcb["IEEE_TC_FOR_PRIORITY"], "0,1,2,3,4,5,6,7");
    EXPECT_EQ(dcb["IsWilling"], "1");
    EXPECT_EQ(get(kDCB, "vmhba10")["SAN_Priority_CoS"], "4");

    // A short array is refused before the adapter is asked anything.
    for (const char* name : {"GroupPercentages", "IEEE_BW_FOR_TC", "IEEE_TSA_FOR_TC"}) {
        EXPECT_EQ(text(set(kDCB, "vmhba8", {uint32("SAN_Priority_CoS", 6), bytes(name, {50, 50})})),
                  std::string("CMPI_RC_ERR_INVALID_PARAMETER: Invalid argument [") + name + "]!");
        EXPECT_TRUE(callNames().empty()) << name;
    }
    EXPECT_EQ(set(kDCB, "vmhba8", {bytes("GroupPercentages", {})}).msg, "Invalid argument [GroupPercentages]!");
    EXPECT_EQ(get(kDCB, "vmhba8")["SAN_Priority_CoS"], "5");

    // Nothing the class takes: nothing is written.
    ASSERT_TRUE(set(kDCB, "vmhba8", {str("InstanceID", "vmhba8")}).ok());
    EXPECT_TRUE(setCalls().empty());

    // Library failures.
    ASSERT_EQ(vtsim_fault("VTAPI_SDGetiDCBXConfig", 9, 1), 0);
    EXPECT_EQ(text(set(kDCB, "vmhba8", {uint32("PriorityTXMode", 2)})),
              "CMPI_RC_ERR_NOT_FOUND: Failed to update configuration, ErrorCode=9!");
    // The adapter wants 100 in all.
    EXPECT_EQ(text(set(kDCB, "vmhba8", {bytes("IEEE_BW_FOR_TC", {90, 20, 0, 0, 0, 0, 0, 0})})),
              "CMPI_RC_ERR_NOT_FOUND: Failed to update HBA parameters");
    EXPECT_EQ(logCount("setInstance_iSCSI_DCBParams: VTAPI_SDSetiDCBXConfig Error: Failed to update HBA parameters"),
              1u);
}

} // namespace
