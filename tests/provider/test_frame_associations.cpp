// Associations, indication subscriptions and the small helpers of the
// handler pattern.
#include "frame_test.h"

#include "cmpi_objects.h"

#include <cstring>

TEST_F(FrameTest, AssociationsAnswerNothing)
{
    checkRequests_ = false;  // nameless and undeclared classes reach the provider
    ASSERT_TRUE(load().ok());
    std::vector<vcim::ObjectPath> paths;
    ASSERT_TRUE(broker().associatorNames(keyPath("Veltra_Server", "s"), paths).ok());
    EXPECT_TRUE(paths.empty());
    ASSERT_TRUE(broker().referenceNames(keyPath("VeltraFC_Port", "p"), paths).ok());
    EXPECT_TRUE(paths.empty());
    EXPECT_EQ(logCount("Veltra_Adapter_Provider associatorNames: classname = Veltra_Server, assocClass = NULL"), 1u);
    EXPECT_EQ(logCount("Veltra_Adapter_Provider referenceNames: classname = VeltraFC_Port, resultClass = NULL"), 1u);

    const vcim::Status nameless = broker().associatorNames(classPath(""), paths);
    EXPECT_EQ(nameless.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(nameless.msg, "Error retrieving Class Name from CIMObjectPath.");
    EXPECT_EQ(logCount("Veltra_Adapter_Provider: Error getting ClassName associatorNames"), 1u);

    // The instance-returning operations, driven through the MI table.
    CMPIAssociationMI* mi = hook<vtframe_association_mi_fn>("vtframe_association_mi")();
    vcim::cmpi::Scope scope;
    vcim::cmpi::ResultSink sink;
    CMPIResult* rslt = vcim::cmpi::newResult(&sink);
    CMPIContext* ctx = broker().newContext();
    vcim::ObjectPath server = keyPath("Veltra_Server", "s");
    server.nameSpace = "veltra/cimv2";
    CMPIObjectPath* op = vcim::cmpi::newObjectPath(server);
    CMPIStatus st = mi->ft->associators(mi, ctx, rslt, op, "Veltra_SomeAssociation", nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(st.rc, CMPI_RC_OK);
    st = mi->ft->references(mi, ctx, rslt, op, "Veltra_SomeAssociation", nullptr, nullptr);
    EXPECT_EQ(st.rc, CMPI_RC_OK);
    EXPECT_TRUE(sink.instances.empty());
    EXPECT_TRUE(sink.paths.empty());
    EXPECT_EQ(logCount("Veltra_Adapter_Provider associators: classname = Veltra_Server, "
                       "assocClass = Veltra_SomeAssociation"),
              1u);
    EXPECT_LT(logIndex("Veltra_Adapter_Provider::associators() status=0, "),
              logIndex("Veltra_Adapter_Provider::associators() returnDone()"));
    EXPECT_EQ(logCount("Veltra_Adapter_Provider references: classname = Veltra_Server, "
                       "resultClass = Veltra_SomeAssociation"),
              1u);
    vcim::cmpi::release(rslt);
    broker().releaseContext(ctx);
    EXPECT_EQ(hook<vtframe_locks_held_fn>("vtframe_locks_held")(), 0);
}

TEST_F(FrameTest, IndicationOperationsOnlyCountSubscriptions)
{
    ASSERT_TRUE(load().ok());
    auto indication = hook<vtframe_indication_fn>("vtframe_indication");
    enum { Authorize, MustPoll, Activate, Deactivate, Enable, Disable };
    // (operation, subscriptions after it, enabled flag after it)
    const int steps[][3] = {{Authorize, 0, 0}, {MustPoll, 0, 0},  {Activate, 1, 1},   {Activate, 2, 1},
                            {Deactivate, 1, 1}, {Deactivate, 0, 0}, {Enable, 0, 1},    {Disable, 0, 0},
                            {Deactivate, -1, 0}}; // the count may go below zero
    for (const auto& step : steps) {
        int enabled = -1;
        EXPECT_EQ(indication(step[0], &enabled), step[1]) << "operation " << step[0];
        EXPECT_EQ(enabled, step[2]) << "operation " << step[0];
    }
    // A deactivation logs the count before it.
    EXPECT_EQ(logCount("Number of subscriptions still available is: 2"), 1u);
    EXPECT_EQ(logCount("Entering Veltra_FC_HBAProvider disableIndications"), 1u);
}

TEST_F(FrameTest, HandlerPatternHelpers)
{
    ASSERT_TRUE(load().ok());
    auto text = hook<vtframe_cmpi_error_string_fn>("vtframe_cmpi_error_string");
    EXPECT_STREQ(text(0), "CMPI_RC_OK");
    EXPECT_STREQ(text(6), "CMPI_RC_ERR_NOT_FOUND");
    EXPECT_STREQ(text(14), "CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED");
    EXPECT_STREQ(text(17), "CMPI_RC_ERR_METHOD_NOT_FOUND");
    const char* unknown = text(99);
    EXPECT_STREQ(unknown, "Errorcode: 99");
    EXPECT_STREQ(text(-1), "Errorcode: -1");
    EXPECT_STREQ(unknown, "Errorcode: -1"); // one buffer for all unknown codes

    auto inFilter = hook<vtframe_is_property_in_filter_fn>("vtframe_is_property_in_filter");
    const char* list[] = {"InstanceID", "Note", nullptr};
    EXPECT_EQ(inFilter("Note", nullptr), 0);
    EXPECT_EQ(inFilter("Note", list), 1);
    EXPECT_EQ(inFilter("note", list), 0);
}
