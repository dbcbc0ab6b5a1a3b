// Text forms of CIM values: datetimes, client text to typed values and back, object
// paths, and status names.
#include <gtest/gtest.h>

#include <cstdint>

#include "cim_value.h"

using namespace vcim;

TEST(CimValue, DateTimeFormsAndOffsets) {
    // 2024-02-29 12:34:56.789012 UTC is 1709210096 seconds after the epoch.
    const uint64_t leapDay = 1709210096ull * 1000000 + 789012;
    DateTime dt;
    ASSERT_TRUE(DateTime::parse("20240229123456.789012+000", dt));
    EXPECT_FALSE(dt.interval);
    EXPECT_EQ(dt.usec, leapDay);
    EXPECT_EQ(dt.toString(), "20240229123456.789012+000");
    // The same moment written at other offsets; always rendered in UTC.
    for (const char* text : {"20240229133456.789012+060", "20240229070456.789012-330",
                             "20240301000456.789012+690"}) {
        ASSERT_TRUE(DateTime::parse(text, dt)) << text;
        EXPECT_EQ(dt.usec, leapDay) << text;
        EXPECT_EQ(dt.toString(), "20240229123456.789012+000") << text;
    }
    ASSERT_TRUE(DateTime::parse("19700101000000.000000+000", dt));
    EXPECT_EQ(dt.usec, 0u);

    // Intervals: days, hours, minutes, seconds, microseconds.
    ASSERT_TRUE(DateTime::parse("00000000003000.000000:000", dt));
    EXPECT_TRUE(dt.interval);
    EXPECT_EQ(dt.usec, 30ull * 60 * 1000000);
    ASSERT_TRUE(DateTime::parse("00000123045607.000089:000", dt));
    EXPECT_EQ(dt.usec, (((123ull * 24 + 4) * 60 + 56) * 60 + 7) * 1000000 + 89);
    EXPECT_EQ(dt.toString(), "00000123045607.000089:000");
    EXPECT_EQ((DateTime{0, true}).toString(), "00000000000000.000000:000");

    for (const char* bad : {"", "20240229123456.789012+00", "20240229123456.789012+0000",
                            "20230229123456.789012+000", "20241301000000.000000+000",
                            "20240100000000.000000+000", "20240229243456.789012+000",
                            "20240229126056.789012+000", "2024022912345a.789012+000",
                            "20240229123456,789012+000", "20240229123456.789012*000",
                            "00000000003000.000000:001", "00000000240000.000000:000",
                            "19700101000000.000000+001", "19691231235959.999999+000"}) {
        DateTime out{42, true};
        EXPECT_FALSE(DateTime::parse(bad, out)) << bad;
    }
}

TEST(CimValue, ScalarTextRoundTripsAndRangeErrors) {
    struct Case {
        CMPIType type;
        const char* text;
        const char* shown;  // nullptr: must be rejected
    } cases[] = {
        {CMPI_boolean, "true", "TRUE"},      {CMPI_boolean, "FaLsE", "FALSE"},
        {CMPI_boolean, "1", "TRUE"},         {CMPI_boolean, "0", "FALSE"},
        {CMPI_boolean, "yes", nullptr},      {CMPI_boolean, "", nullptr},
        {CMPI_uint8, "255", "255"},          {CMPI_uint8, "256", nullptr},
        {CMPI_uint8, " 7 ", "7"},            {CMPI_uint8, "-1", nullptr},
        {CMPI_uint8, "-0", "0"},             {CMPI_uint8, "0x1F", "31"},
        {CMPI_uint16, "65535", "65535"},     {CMPI_uint16, "65536", nullptr},
        {CMPI_uint32, "4294967295", "4294967295"}, {CMPI_uint32, "4294967296", nullptr},
        {CMPI_uint64, "18446744073709551615", "18446744073709551615"},
        {CMPI_uint64, "18446744073709551616", nullptr},
        {CMPI_uint64, "99999999999999999999999", nullptr},
        {CMPI_uint32, "12abc", nullptr},     {CMPI_uint32, "", nullptr},
        {CMPI_uint32, "0x", nullptr},        {CMPI_uint32, "1.0", nullptr},
        {CMPI_sint8, "-128", "-128"},        {CMPI_sint8, "-129", nullptr},
        {CMPI_sint8, "127", "127"},          {CMPI_sint8, "+128", nullptr},
        {CMPI_sint16, "-32768", "-32768"},   {CMPI_sint16, "32768", nullptr},
        {CMPI_sint32, "-2147483648", "-2147483648"}, {CMPI_sint32, "2147483648", nullptr},
        {CMPI_sint64, "-9223372036854775808", "-9223372036854775808"},
        {CMPI_sint64, "9223372036854775808", nullptr},
        {CMPI_sint64, "-", nullptr},
        {CMPI_real64, "0.1", "0.1"},         {CMPI_real64, "1e300", "1e+300"},
        {CMPI_real64, "-2.5", "-2.5"},       {CMPI_real64, "abc", nullptr},
        {CMPI_real64, "1e999", nullptr},     {CMPI_real64, "nan", nullptr},
        {CMPI_real32, "0.1", "0.1"},         {CMPI_real32, "1e300", nullptr},
        {CMPI_char16, "x", "x"},             {CMPI_char16, "\xc3\xa9", "\xc3\xa9"},
        {CMPI_char16, "xy", nullptr},        {CMPI_char16, "", nullptr},
        {CMPI_char16, "\xf0\x9f\x98\x80", nullptr},
        {CMPI_string, "  as it is, \"quoted\" ", "  as it is, \"quoted\" "},
        {CMPI_string, "", ""},
        {CMPI_dateTime, "20240229123456.789012+060", "20240229113456.789012+000"},
        {CMPI_dateTime, "yesterday", nullptr},
        {CMPI_ref, "root/x:Cls.K=\"v\"", "root/x:Cls.K=\"v\""},
        {CMPI_ref, "Cls.=", nullptr},
        {CMPI_instance, "anything", nullptr},
    };
    for (const auto& c : cases) {
        Value v;
        std::string err;
        bool ok = Value::parse(c.type, c.text, v, &err);
        if (!c.shown) {
            EXPECT_FALSE(ok) << c.type << " '" << c.text << "'";
            EXPECT_FALSE(err.empty()) << c.text;
            continue;
        }
        ASSERT_TRUE(ok) << c.type << " '" << c.text << "': " << err;
        EXPECT_FALSE(v.null);
        EXPECT_EQ(v.type, c.type) << c.text;
        EXPECT_EQ(v.toCimString(), c.shown) << c.text;
        // What is shown reads back as the same value.
        Value back;
        ASSERT_TRUE(Value::parse(c.type, v.toCimString(), back, &err)) << err;
        EXPECT_EQ(back.toCimString(), v.toCimString());
    }

    Value v;
    std::string err;
    EXPECT_FALSE(Value::parse(CMPI_uint8, "300", v, &err));
    EXPECT_EQ(err, "value '300' out of range for uint8");
    // Reals print with as many digits as they need, no more.
    for (double d : {1.0 / 3, 123456789.125, 5e-324, 1.7976931348623157e308}) {
        Value r = Value::real(CMPI_real64, d), back;
        ASSERT_TRUE(Value::parse(CMPI_real64, r.toCimString(), back, &err)) << r.toCimString();
        EXPECT_EQ(back.n.r, d) << r.toCimString();
    }
    EXPECT_EQ(Value::nullOf(CMPI_stringA).toCimString(), "NULL");
}

TEST(CimValue, ArraysSplitQuoteAndRoundTrip) {
    Value v;
    std::string err;
    ASSERT_TRUE(Value::parse(CMPI_uint16A, "{1, 2 ,3}", v, &err)) << err;
    ASSERT_EQ(v.elems.size(), 3u);
    EXPECT_EQ(v.elems[2].type, CMPI_uint16);
    EXPECT_EQ(v.toCimString(), "1,2,3");

    for (const char* empty : {"", "  ", "{}", "{ }"}) {
        ASSERT_TRUE(Value::parse(CMPI_stringA, empty, v, &err)) << empty;
        EXPECT_FALSE(v.null);
        EXPECT_TRUE(v.elems.empty()) << empty;
        EXPECT_EQ(v.toCimString(), "");
    }

    // Quoted elements keep commas, blanks and escaped quotes; plain ones are trimmed.
    ASSERT_TRUE(Value::parse(CMPI_stringA, "\"a,b\", plain , \"say \\\"hi\\\" \\\\ \",\"\"", v, &err))
        << err;
    ASSERT_EQ(v.elems.size(), 4u);
    EXPECT_EQ(v.elems[2].s, "say \"hi\" \\ ");
    const std::string shown = v.toCimString();
    EXPECT_EQ(shown, "\"a,b\",\"plain\",\"say \\\"hi\\\" \\\\ \",\"\"");
    Value back;
    ASSERT_TRUE(Value::parse(CMPI_stringA, "{" + shown + "}", back, &err)) << err;
    EXPECT_EQ(back.toCimString(), shown);

    // Null elements, references with several keys, booleans.
    Value mixed = Value::array(CMPI_uint8, {Value::uint(CMPI_uint8, 1), Value::nullOf(CMPI_uint8)});
    EXPECT_EQ(mixed.toCimString(), "1,NULL");
    ASSERT_TRUE(Value::parse(CMPI_uint8A, mixed.toCimString(), back, &err)) << err;
    ASSERT_EQ(back.count(), 2u);
    EXPECT_TRUE(back.at(1).null);
    ASSERT_TRUE(Value::parse(CMPI_sint8A, "-128,127", back, &err)) << err;
    EXPECT_EQ(back.toCimString(), "-128,127");
    ObjectPath p;
    ASSERT_TRUE(ObjectPath::parse("ns:C.A=\"x,y\",B=2", p, &err)) << err;
    Value refs = Value::array(CMPI_ref, {Value::reference(p), Value::reference(p)});
    ASSERT_TRUE(Value::parse(CMPI_refA, refs.toCimString(), back, &err)) << err;
    ASSERT_EQ(back.elems.size(), 2u);
    EXPECT_EQ(back.elems[1].ref->key("A")->s, "x,y");
    EXPECT_EQ(back.elems[1].ref->key("B")->s, "2");
    ASSERT_TRUE(Value::parse(CMPI_booleanA, "true,0", back, &err));
    EXPECT_EQ(back.toCimString(), "TRUE,FALSE");

    for (const char* bad : {"{1,2", "1,,2", "1,2,", "1,300", "\"1\"x,2"}) {
        EXPECT_FALSE(Value::parse(CMPI_uint8A, bad, back, &err)) << bad;
        EXPECT_FALSE(err.empty());
    }
    EXPECT_FALSE(Value::parse(CMPI_stringA, "\"open", back, &err));
}

TEST(CimValue, ObjectPathsParseAndPrint) {
    ObjectPath p;
    std::string err;
    ASSERT_TRUE(ObjectPath::parse(
        "//host.example:5989/root/veltra:Veltra_Port.Id=\"a\\\"b\\\\c,d\",Port=3", p, &err))
        << err;
    EXPECT_EQ(p.host, "host.example:5989");
    EXPECT_EQ(p.nameSpace, "root/veltra");
    EXPECT_EQ(p.className, "Veltra_Port");
    ASSERT_EQ(p.keys.size(), 2u);
    EXPECT_EQ(p.key("ID")->s, "a\"b\\c,d");
    EXPECT_EQ(p.key("port")->type, CMPI_string);  // unquoted values stay text
    EXPECT_EQ(p.key("Other"), nullptr);
    EXPECT_EQ(p.toString(),
              "//host.example:5989/root/veltra:Veltra_Port.Id=\"a\\\"b\\\\c,d\",Port=\"3\"");

    // Typed keys: numbers and booleans bare, strings and references quoted.
    p.setKey("PORT", Value::uint(CMPI_uint16, 4));
    p.setKey("Flag", Value::boolean(true));
    ObjectPath inner;
    ASSERT_TRUE(ObjectPath::parse("C.K=\"v\"", inner, &err));
    p.setKey("Ref", Value::reference(inner));
    p.host.clear();
    EXPECT_EQ(p.keys.size(), 4u);
    EXPECT_EQ(p.keys[1].name, "Port");  // replaced in place, name kept
    EXPECT_EQ(p.toString(),
              "root/veltra:Veltra_Port.Id=\"a\\\"b\\\\c,d\",Port=4,Flag=TRUE,Ref=\"C.K=\\\"v\\\"\"");
    ObjectPath again;
    ASSERT_TRUE(ObjectPath::parse(p.toString(), again, &err)) << err;
    EXPECT_EQ(again.key("Ref")->s, "C.K=\"v\"");
    EXPECT_EQ(again.key("id")->s, "a\"b\\c,d");

    ASSERT_TRUE(ObjectPath::parse("  Veltra_Adapter  ", p, &err)) << err;
    EXPECT_EQ(p.className, "Veltra_Adapter");
    EXPECT_TRUE(p.nameSpace.empty() && p.host.empty() && p.keys.empty());
    EXPECT_EQ(p.toString(), "Veltra_Adapter");
    ASSERT_TRUE(ObjectPath::parse("Cls.K = \"v\" , L = x y ", p, &err)) << err;
    EXPECT_EQ(p.key("L")->s, "x y");
    EXPECT_EQ(p.toString(), "Cls.K=\"v\",L=\"x y\"");

    for (const char* bad : {"", "//hostonly", "ns:", "9Cls", "Cls.", "Cls.K", "Cls.K=",
                            "Cls.K=\"open", "Cls.K=\"v\"x", "Cls.K=1,K=2", "Cls K=1",
                            "Cls.=1", "Cls.K=1,"}) {
        ObjectPath out;
        out.className = "Untouched";
        EXPECT_FALSE(ObjectPath::parse(bad, out, &err)) << bad;
        EXPECT_FALSE(err.empty());
        EXPECT_EQ(out.className, "Untouched") << bad;
    }
}

TEST(CimValue, InstancePropertiesAndStatusNames) {
    Instance inst;
    inst.set("Name", Value::string("a"));
    inst.set("Size", Value::uint(CMPI_uint32, 1));
    inst.set("NAME", Value::string("b"));
    ASSERT_EQ(inst.props.size(), 2u);
    EXPECT_EQ(inst.props[0].name, "Name");
    EXPECT_EQ(inst.get("name")->s, "b");
    EXPECT_EQ(inst.get("missing"), nullptr);

    // Every code of the 2.0 list has its own name (the CLI's messages start with it).
    for (int rc : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 50, 51, 60, 61, 100, 200})
        EXPECT_NE(Status::codeName(static_cast<CMPIrc>(rc)), "CMPI_RC_" + std::to_string(rc)) << rc;
    EXPECT_EQ(Status::codeName(CMPI_RC_NEVER_UNLOAD), "CMPI_RC_NEVER_UNLOAD");
    EXPECT_EQ(Status::codeName(static_cast<CMPIrc>(18)), "CMPI_RC_18");
}
