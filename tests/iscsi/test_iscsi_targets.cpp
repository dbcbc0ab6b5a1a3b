// "Veltra_iSCSI_Target" and "Veltra_iSCSI_Target_LUN": used slots of sparse
// target tables, device states, WWULN texts, and keys read back by their
// numbers.
#include "iscsi_test.h"

namespace {

const char* const kTarget = "Veltra_iSCSI_Target";
const char* const kLun = "Veltra_iSCSI_Target_LUN";

// vmhba40: slots 0, 2 and 4 used (1 and 3 not), one name holding a ";";
// vmhba41 has a target of the same name and id as vmhba40's first.
const char* const kHost = R"({"adapters": [{"name": "VTISCSI001", "kind": "iscsi", "ports": [
  {"functions": [{"type": "iscsi", "name": "vmhba40", "iscsi": {"targets": [
     {"name": "iqn.2001-05.com.acme:disk", "target_id": 5, "ip": "fe80::1", "port": 3261, "alias": "disk",
      "device_state": 3, "session_state": 65533,
      "luns": [{"number": 0, "wwuln": "00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00"},
               {"number": 9, "vendor": "ACMEACME", "product": "ABCDEFGHIJKLMNOP", "revision": "1234"}]},
     {"in_use": 0},
     {"name": "iqn.2001-05.com.acme:odd;name", "target_id": 7, "device_state": 3, "luns": []},
     {"in_use": 0, "name": "iqn.2001-05.com.acme:gone", "target_id": 8},
     {"name": "iqn.2001-05.com.acme:tape", "target_id": 4294967295, "device_state": 9, "luns": [{"number": 3}]}]}}]},
  {"functions": [{"type": "iscsi", "name": "vmhba41", "iscsi": {"targets": [
     {"name": "iqn.2001-05.com.acme:disk", "target_id": 5, "device_state": 4, "luns": [{"number": 1}]}]}}]}]}]})";

class ISCSITargetTest : public ISCSIClassTest {
protected:
    static vcim::ObjectPath targetPath(const std::string& key, const std::string& function)
    {
        vcim::ObjectPath path = keyPath(kTarget, key);
        path.setKey("iSCSI_InstanceID", vcim::Value::string(function));
        return path;
    }
    static vcim::ObjectPath lunPath(const std::string& key, const std::string& function)
    {
        vcim::ObjectPath path = keyPath(kLun, key);
        path.setKey("iSCSI_Target_InstanceID", vcim::Value::string(key.substr(0, key.rfind(';'))));
        path.setKey("iSCSI_InstanceID", vcim::Value::string(function));
        return path;
    }
    // The instance at `path`, which must be found.
    std::map<std::string, std::string> found(const vcim::ObjectPath& path)
    {
        vcim::Instance instance;
        const vcim::Status status = broker().getInstance(path, nullptr, instance);
        EXPECT_TRUE(status.ok()) << status.msg;
        return texts(instance);
    }
    CMPIrc getStatus(const vcim::ObjectPath& path)
    {
        vcim::Instance instance;
        return broker().getInstance(path, nullptr, instance).rc;
    }
};

TEST_F(ISCSITargetTest, UsedSlotsWithStatesAndLuns)
{
    start(kHost);
    EXPECT_EQ(keys(kTarget), (std::vector<std::string>{"iqn.2001-05.com.acme:disk;5", "iqn.2001-05.com.acme:odd;name;7",
                                                       "iqn.2001-05.com.acme:tape;4294967295",
                                                       "iqn.2001-05.com.acme:disk;5"}));
    const std::vector<vcim::Instance> targets = instances(kTarget);
    ASSERT_EQ(targets.size(), 4u);
    auto first = texts(targets[0]);
    EXPECT_EQ(first["iSCSI_InstanceID"], "vmhba40");
    EXPECT_EQ(first["TargetID"], "5");
    EXPECT_EQ(first["IPAddress"], "fe80::1");
    EXPECT_EQ(first["DeviceState"], "Not Saved");
    EXPECT_EQ(texts(targets[1])["DeviceState"], "No Session");
    EXPECT_EQ(texts(targets[2])["DeviceState"], "Unknown.");
    EXPECT_EQ(texts(targets[3])["DeviceState"], "Session Active");
    EXPECT_EQ(texts(targets[3])["iSCSI_InstanceID"], "vmhba41");

    EXPECT_EQ(keys(kLun), (std::vector<std::string>{"iqn.2001-05.com.acme:disk;5;0", "iqn.2001-05.com.acme:disk;5;9",
                                                    "iqn.2001-05.com.acme:tape;4294967295;3",
                                                    "iqn.2001-05.com.acme:disk;5;1"}));
    const std::vector<vcim::Instance> luns = instances(kLun);
    ASSERT_EQ(luns.size(), 4u);
    auto zero = texts(luns[0]);
    std::string zeros = "00";
    for (int i = 1; i < 32; ++i)
        zeros += ":00";
    EXPECT_EQ(zero["WWULN"], zeros);
    EXPECT_EQ(zero["iSCSI_Target_InstanceID"], "iqn.2001-05.com.acme:disk;5");
    auto full = texts(luns[1]);
    EXPECT_EQ(full["LunNum"], "9");
    EXPECT_EQ(full["Vendor"], "ACMEACME"); // fields filled without a terminator
    EXPECT_EQ(full["ProdID"], "ABCDEFGHIJKLMNOP");
    EXPECT_EQ(full["ProdRv"], "1234");
}

TEST_F(ISCSITargetTest, GetReadsTheKeysNumbers)
{
    start(kHost);
    // Names ignore case; the function key picks the table.
    EXPECT_EQ(found(targetPath("IQN.2001-05.com.acme:DISK;5", "VMHBA41"))["DeviceState"], "Session Active");
    EXPECT_EQ(found(targetPath("iqn.2001-05.com.acme:odd;name;7", "vmhba40"))["TargetID"], "7");
    EXPECT_EQ(found(targetPath("iqn.2001-05.com.acme:tape;4294967295", "vmhba40"))["TargetID"], "4294967295");
    EXPECT_EQ(found(lunPath("iqn.2001-05.com.acme:disk;5;9", "vmhba40"))["Vendor"], "ACMEACME");
    EXPECT_EQ(found(lunPath("iqn.2001-05.com.acme:disk;5;1", "vmhba41"))["LunNum"], "1");

    // Not found: wrong numbers, numbers that do not parse, unused slots,
    // another function's target.
    for (const char* key : {"iqn.2001-05.com.acme:disk;6", "iqn.2001-05.com.acme:disk;x",
                            "iqn.2001-05.com.acme:disk;", "iqn.2001-05.com.acme:disk;-5",
                            "iqn.2001-05.com.acme:disk; 5", "iqn.2001-05.com.acme:disk;4294967301",
                            "iqn.2001-05.com.acme:disk", "iqn.2001-05.com.acme:gone;8", "iqn.2001-05.com.acme:odd;7"}) {
        EXPECT_EQ(getStatus(targetPath(key, "vmhba40")), CMPI_RC_ERR_NOT_FOUND) << key;
    }
    EXPECT_EQ(logCount("getInstance_iSCSI_Target: Error no matching instance found, "
                       "KeyValue=iqn.2001-05.com.acme:disk;4294967301!"),
              1u);
    EXPECT_EQ(getStatus(targetPath("iqn.2001-05.com.acme:tape;4294967295", "vmhba41")), CMPI_RC_ERR_NOT_FOUND);
    for (const char* key : {"iqn.2001-05.com.acme:disk;5;8", "iqn.2001-05.com.acme:disk;5", "iqn.2001-05.com.acme:disk;5;9x",
                            "iqn.2001-05.com.acme:disk;5;1"}) {
        EXPECT_EQ(getStatus(lunPath(key, "vmhba40")), CMPI_RC_ERR_NOT_FOUND) << key;
    }
    // A name longer than any target's is not looked for.
    EXPECT_EQ(getStatus(targetPath(std::string(600, 'a') + ";5", "vmhba40")), CMPI_RC_ERR_NOT_FOUND);
}

} // namespace
