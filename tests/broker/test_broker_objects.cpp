// The broker's encapsulated objects driven through the C function tables, as a provider
// sees them: ownership, value conventions, property filters, datetimes, helpers.
#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>

#include "fixtures/fixture_support.h"

using namespace vcim;
using fixture::chars;

namespace {

class BrokerObjects : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(broker.load().ok()); }

    Broker broker{fixture::options("full")};
    const CMPIBroker* mb = broker.cmpiBroker();
    CMPIStatus rc{};
};

CMPIObjectPath* itemPath(const CMPIBroker* mb, const char* id) {
    CMPIObjectPath* op = mb->eft->newObjectPath(mb, "ns", "Fix_Item", nullptr);
    op->ft->addKey(op, "Id", reinterpret_cast<const CMPIValue*>(id), CMPI_chars);
    return op;
}

std::vector<std::string> names(const CMPIInstance* ci) {
    std::vector<std::string> out;
    for (CMPICount i = 0; i < ci->ft->getPropertyCount(ci, nullptr); ++i) {
        CMPIString* n = nullptr;
        ci->ft->getPropertyAt(ci, i, &n, nullptr);
        out.push_back(chars(n));
    }
    return out;
}

TEST_F(BrokerObjects, RequestObjectsAreFreedAtScopeEndClonesSurviveUntilReleased) {
    const size_t before = cmpi::trackedCount();
    CMPIString* clone = nullptr;
    {
        cmpi::Scope request;
        CMPIString* s = mb->eft->newString(mb, "kept", &rc);
        EXPECT_EQ(rc.rc, CMPI_RC_OK);
        mb->eft->newArray(mb, 4, CMPI_uint32, nullptr);
        mb->eft->newInstance(mb, itemPath(mb, "a"), nullptr);
        EXPECT_EQ(cmpi::trackedCount(), before + 4);
        clone = s->ft->clone(s, nullptr);
        EXPECT_EQ(cmpi::trackedCount(), before + 4);  // clones are not tracked
        CMPIString* early = mb->eft->newString(mb, "early", nullptr);
        EXPECT_EQ(early->ft->release(early).rc, CMPI_RC_OK);
        EXPECT_EQ(cmpi::trackedCount(), before + 4);
    }
    EXPECT_EQ(cmpi::trackedCount(), before);
    EXPECT_EQ(chars(clone), "kept");
    EXPECT_EQ(clone->ft->release(clone).rc, CMPI_RC_OK);

    // Memory table: mark/release bracket a scope; managed memory and early frees.
    ASSERT_NE(mb->mft, nullptr);
    EXPECT_TRUE(mb->bft->brokerCapabilities & CMPI_MB_Supports_MemEnhancements);
    cmpi::Scope request;
    CMPIGcStat* gc = mb->mft->mark(mb, &rc);
    mb->eft->newString(mb, "inside", nullptr);
    auto* zero = static_cast<unsigned char*>(mb->mft->cmpiCalloc(mb, 16, 4));
    ASSERT_NE(zero, nullptr);
    EXPECT_EQ(std::count(zero, zero + 64, 0), 64);
    char* dup = mb->mft->cmpiStrDup(mb, "dup");
    dup = static_cast<char*>(mb->mft->cmpiRealloc(mb, dup, 4096));
    EXPECT_STREQ(dup, "dup");
    mb->mft->cmpiFree(mb, mb->mft->cmpiMalloc(mb, 8));
    EXPECT_EQ(cmpi::trackedCount(), before + 3);
    EXPECT_EQ(mb->mft->release(mb, gc).rc, CMPI_RC_OK);
    EXPECT_EQ(cmpi::trackedCount(), before);
    EXPECT_EQ(mb->mft->release(mb, gc).rc, CMPI_RC_ERR_INVALID_HANDLE);  // already released
    EXPECT_EQ(mb->mft->cmpiCalloc(mb, SIZE_MAX / 2, 4), nullptr);
}

TEST_F(BrokerObjects, StringsCharsQuirkAndNullValues) {
    cmpi::Scope request;
    CMPIString* s = mb->eft->newString(mb, "abc", nullptr);
    EXPECT_EQ(static_cast<const char*>(s->hdl), s->ft->getCharPtr(s, nullptr));  // chars in hdl
    CMPIString* none = mb->eft->newString(mb, nullptr, nullptr);
    EXPECT_EQ(none->ft->getCharPtr(none, nullptr), nullptr);

    // setProperty/addKey/addArg/addEntry take a CMPI_chars value pointer as the char*.
    const char* text = "by pointer";
    const auto* asValue = reinterpret_cast<const CMPIValue*>(text);
    CMPIInstance* ci = mb->eft->newInstance(mb, itemPath(mb, "a"), nullptr);
    CMPIArgs* args = mb->eft->newArgs(mb, nullptr);
    CMPIContext* ctx = broker.newContext();
    ci->ft->setProperty(ci, "Name", asValue, CMPI_chars);
    args->ft->addArg(args, "Text", asValue, CMPI_chars);
    ctx->ft->addEntry(ctx, "Entry", asValue, CMPI_chars);
    for (CMPIData d : {ci->ft->getProperty(ci, "name", nullptr), args->ft->getArg(args, "TEXT", nullptr),
                       ctx->ft->getEntry(ctx, "Entry", nullptr)}) {
        ASSERT_EQ(d.type, CMPI_string);  // handed back as broker strings
        EXPECT_EQ(chars(d.value.string), "by pointer");
    }
    CMPIObjectPath* op = ci->ft->getObjectPath(ci, nullptr);
    CMPIData key = op->ft->getKey(op, "Id", nullptr);
    EXPECT_EQ(key.type, CMPI_string);
    EXPECT_TRUE(key.state & CMPI_keyValue);
    EXPECT_EQ(chars(key.value.string), "a");

    // A NULL value pointer stores NULL of the given type; a missing name is notFound.
    ci->ft->setProperty(ci, "Count", nullptr, CMPI_uint32);
    CMPIData d = ci->ft->getProperty(ci, "Count", &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(d.type, CMPI_uint32);
    EXPECT_TRUE(d.state & CMPI_nullValue);
    d = ci->ft->getProperty(ci, "Missing", &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_TRUE(d.state & CMPI_notFound);
    // Context entries are case-sensitive and a missing one is NO_SUCH_PROPERTY (as sfcb).
    ctx->ft->getEntry(ctx, "entry", &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    // A request context carries namespace, flags and principal.
    d = ctx->ft->getEntry(ctx, CMPIInitNameSpace, &rc);
    EXPECT_EQ(chars(d.value.string), "veltra/cimv2");
    EXPECT_EQ(ctx->ft->getEntry(ctx, CMPIInvocationFlags, nullptr).type, CMPI_uint32);
    EXPECT_EQ(ctx->ft->getEntry(ctx, CMPIPrincipal, nullptr).type, CMPI_string);
    broker.releaseContext(ctx);

    // Setting a key property is reflected in the instance's path.
    ci->ft->setProperty(ci, "Id", reinterpret_cast<const CMPIValue*>("z"), CMPI_chars);
    op = ci->ft->getObjectPath(ci, nullptr);
    EXPECT_EQ(chars(op->ft->getKey(op, "Id", nullptr).value.string), "z");
    EXPECT_EQ(ci->ft->getProperty(nullptr, "Id", &rc).state & CMPI_nullValue, CMPI_nullValue);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
}

TEST_F(BrokerObjects, ArraysAndTypeChecks) {
    cmpi::Scope request;
    CMPIArray* nums = mb->eft->newArray(mb, 2, CMPI_uint16, nullptr);
    CMPIValue v;
    v.uint16 = 7;
    EXPECT_EQ(nums->ft->setElementAt(nums, 1, &v, CMPI_uint16).rc, CMPI_RC_OK);
    EXPECT_EQ(nums->ft->setElementAt(nums, 2, &v, CMPI_uint16).rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    EXPECT_EQ(nums->ft->setElementAt(nums, 0, &v, CMPI_uint32).rc, CMPI_RC_ERR_TYPE_MISMATCH);
    EXPECT_TRUE(nums->ft->getElementAt(nums, 0, nullptr).state & CMPI_nullValue);
    EXPECT_EQ(nums->ft->getElementAt(nums, 1, nullptr).value.uint16, 7);
    nums->ft->getElementAt(nums, 5, &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);

    // Byte arrays (kept packed) have the same element semantics: null until set,
    // signed values, a null set back, type checks, and a property copy.
    CMPIArray* bytes = mb->eft->newArray(mb, 3, CMPI_sint8, nullptr);
    v.sint8 = -5;
    EXPECT_EQ(bytes->ft->setElementAt(bytes, 1, &v, CMPI_sint8).rc, CMPI_RC_OK);
    EXPECT_EQ(bytes->ft->setElementAt(bytes, 2, &v, CMPI_uint8).rc, CMPI_RC_ERR_TYPE_MISMATCH);
    EXPECT_EQ(bytes->ft->setElementAt(bytes, 3, &v, CMPI_sint8).rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    CMPIData b1 = bytes->ft->getElementAt(bytes, 1, nullptr);
    EXPECT_EQ(b1.type, CMPI_sint8);
    EXPECT_EQ(b1.value.sint8, -5);
    EXPECT_FALSE(b1.state & CMPI_nullValue);
    EXPECT_TRUE(bytes->ft->getElementAt(bytes, 0, nullptr).state & CMPI_nullValue);
    CMPIInstance* bi = mb->eft->newInstance(mb, itemPath(mb, "b"), nullptr);
    v.array = bytes;
    ASSERT_EQ(bi->ft->setProperty(bi, "Bytes", &v, CMPI_sint8A).rc, CMPI_RC_OK);
    EXPECT_EQ(bytes->ft->setElementAt(bytes, 1, nullptr, CMPI_null).rc, CMPI_RC_OK);
    EXPECT_TRUE(bytes->ft->getElementAt(bytes, 1, nullptr).state & CMPI_nullValue);
    CMPIData copied = bi->ft->getProperty(bi, "Bytes", nullptr);
    ASSERT_EQ(copied.type, CMPI_sint8A);
    EXPECT_EQ(copied.value.array->ft->getElementAt(copied.value.array, 1, nullptr).value.sint8, -5);
    EXPECT_TRUE(copied.value.array->ft->getElementAt(copied.value.array, 2, nullptr).state & CMPI_nullValue);

    // chars into a string array: the pointer itself; into a chars array: value->chars.
    CMPIArray* strs = mb->eft->newArray(mb, 1, CMPI_string, nullptr);
    strs->ft->setElementAt(strs, 0, reinterpret_cast<const CMPIValue*>("itself"), CMPI_chars);
    CMPIArray* charsArr = mb->eft->newArray(mb, 1, CMPI_chars, nullptr);
    v.chars = const_cast<char*>("member");
    charsArr->ft->setElementAt(charsArr, 0, &v, CMPI_chars);
    EXPECT_EQ(charsArr->ft->getSimpleType(charsArr, nullptr), CMPI_chars);
    CMPIData s0 = strs->ft->getElementAt(strs, 0, nullptr),
             c0 = charsArr->ft->getElementAt(charsArr, 0, nullptr);
    ASSERT_EQ(s0.type, CMPI_string);
    ASSERT_EQ(c0.type, CMPI_string);
    EXPECT_EQ(chars(s0.value.string), "itself");
    EXPECT_EQ(chars(c0.value.string), "member");

    // An array property is copied: later changes to the array do not reach the instance.
    CMPIInstance* ci = mb->eft->newInstance(mb, itemPath(mb, "a"), nullptr);
    v.array = nums;
    EXPECT_EQ(ci->ft->setProperty(ci, "Bytes", &v, CMPI_uint32A).rc, CMPI_RC_ERR_TYPE_MISMATCH);
    EXPECT_EQ(ci->ft->setProperty(ci, "Bytes", &v, CMPI_uint16A).rc, CMPI_RC_OK);
    v.uint16 = 9;
    nums->ft->setElementAt(nums, 1, &v, CMPI_uint16);
    CMPIData arr = ci->ft->getProperty(ci, "Bytes", nullptr);
    ASSERT_EQ(arr.type, CMPI_uint16A);
    EXPECT_EQ(arr.value.array->ft->getElementAt(arr.value.array, 1, nullptr).value.uint16, 7);
    v.args = mb->eft->newArgs(mb, nullptr);
    EXPECT_EQ(ci->ft->setProperty(ci, "Bad", &v, CMPI_args).rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
    EXPECT_EQ(mb->eft->newArray(mb, 1, CMPI_args, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
    EXPECT_EQ(mb->eft->newArray(mb, 0xFFFFFFFFu, CMPI_uint8, &rc), nullptr);

}

TEST_F(BrokerObjects, PropertyFilterKeepsListedAndKeyProperties) {
    cmpi::Scope request;
    auto make = [&] {
        CMPIInstance* ci = mb->eft->newInstance(mb, itemPath(mb, "a"), nullptr);
        CMPIValue v;
        v.uint32 = 1;
        ci->ft->setProperty(ci, "Count", &v, CMPI_uint32);  // set before the filter
        return ci;
    };
    const char* list[] = {"name", nullptr};
    const char* keys[] = {"Size", nullptr};
    const char* empty[] = {nullptr};

    CMPIInstance* all = make();
    all->ft->setPropertyFilter(all, nullptr, keys);  // NULL list: no filtering
    EXPECT_EQ(names(all), (std::vector<std::string>{"Id", "Count"}));

    CMPIInstance* some = make();
    some->ft->setPropertyFilter(some, list, keys);
    EXPECT_EQ(names(some), std::vector<std::string>{"Id"});  // Count dropped, Id is a path key
    CMPIValue v;
    v.uint64 = 5;
    some->ft->setProperty(some, "Name", reinterpret_cast<const CMPIValue*>("x"), CMPI_chars);
    some->ft->setProperty(some, "Count", &v, CMPI_uint32);  // ignored: not in the filter
    some->ft->setProperty(some, "Size", &v, CMPI_uint64);
    EXPECT_EQ(names(some), (std::vector<std::string>{"Id", "Name", "Size"}));

    CMPIInstance* none = make();
    none->ft->setPropertyFilter(none, empty, nullptr);
    none->ft->setProperty(none, "Name", reinterpret_cast<const CMPIValue*>("x"), CMPI_chars);
    EXPECT_EQ(names(none), std::vector<std::string>{"Id"});
}

TEST_F(BrokerObjects, DateTimesRoundTripInBothForms) {
    cmpi::Scope request;
    const CMPIUint64 point = 1700003600123456ULL;  // 2023-11-14 23:13:20.123456 UTC
    CMPIDateTime* dt = mb->eft->newDateTimeFromBinary(mb, point, 0, nullptr);
    const std::string text = chars(dt->ft->getStringFormat(dt, nullptr));
    EXPECT_EQ(text, "20231114231320.123456+000");
    CMPIDateTime* back = mb->eft->newDateTimeFromChars(mb, text.c_str(), &rc);
    ASSERT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(back->ft->getBinaryFormat(back, nullptr), point);
    EXPECT_FALSE(back->ft->isInterval(back, nullptr));

    CMPIDateTime* iv = mb->eft->newDateTimeFromBinary(mb, 90061000001ULL, 1, nullptr);
    EXPECT_TRUE(iv->ft->isInterval(iv, nullptr));
    EXPECT_EQ(chars(iv->ft->getStringFormat(iv, nullptr)), "00000001010101.000001:000");

    EXPECT_EQ(mb->eft->newDateTimeFromChars(mb, "2023-11-14", &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(mb->eft->newDateTimeFromChars(mb, nullptr, &rc), nullptr);
    CMPIDateTime* now = mb->eft->newDateTime(mb, nullptr);
    EXPECT_GT(now->ft->getBinaryFormat(now, nullptr), point);
}

TEST_F(BrokerObjects, EncapsulationHelpers) {
    cmpi::Scope request;
    CMPIObjectPath* child = mb->eft->newObjectPath(mb, "ns", "fix_child", nullptr);
    EXPECT_TRUE(mb->eft->classPathIsA(mb, child, "FIX_ITEM", &rc));
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_TRUE(mb->eft->classPathIsA(mb, child, "Fix_Child", nullptr));
    EXPECT_FALSE(mb->eft->classPathIsA(mb, itemPath(mb, "a"), "Fix_Child", nullptr));
    EXPECT_FALSE(
        mb->eft->classPathIsA(mb, mb->eft->newObjectPath(mb, "ns", nullptr, nullptr), "Fix_Item", &rc));
    EXPECT_EQ(rc.rc, CMPI_RC_OK);

    CMPIObjectPath* op = itemPath(mb, "a");
    EXPECT_TRUE(mb->eft->isOfType(mb, op, "CMPIObjectPath", nullptr));
    EXPECT_FALSE(mb->eft->isOfType(mb, op, "CMPIInstance", nullptr));
    EXPECT_EQ(chars(mb->eft->getType(mb, mb->eft->newArgs(mb, nullptr), nullptr)), "CMPIArgs");
    EXPECT_EQ(chars(mb->eft->toString(mb, op, nullptr)), "ns:Fix_Item.Id=\"a\"");

    CMPIString* msg = mb->eft->getMessage(mb, "ID1", "$0 of $1 ($2, $3)", &rc, 4, CMPI_sint32, -3L,
                                          CMPI_chars, "disk", CMPI_boolean, 1, CMPI_uint64, 7ULL);
    EXPECT_EQ(chars(msg), "-3 of disk (true, 7)");
    CMPIMsgFileHandle fh = nullptr;
    EXPECT_EQ(mb->eft->openMessageFile(mb, "any", &fh).rc, CMPI_RC_OK);
    EXPECT_EQ(chars(mb->eft->getMessage2(mb, "ID2", fh, "plain $0", nullptr, 0)), "plain $0");
    EXPECT_EQ(mb->eft->closeMessageFile(mb, fh).rc, CMPI_RC_OK);

    mb->eft->logMessage(mb, CMPI_SEV_ERROR, "Fix", "something broke", nullptr);
    ASSERT_FALSE(broker.loggedMessages().empty());
    EXPECT_NE(broker.loggedMessages().back().find("something broke"), std::string::npos);
    EXPECT_EQ(mb->eft->newSelectExp(mb, "select", "WQL", nullptr, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_EQ(
        mb->eft->newCMPIError(mb, "o", "m", "t", ErrorSevLow, ErrorProbCauseOther, CMPI_RC_ERR_FAILED, &rc),
        nullptr);
    char* file = mb->xft->resolveFileName("Foo");
    EXPECT_STREQ(file, "libFoo.so");
    free(file);
}

}  // namespace
