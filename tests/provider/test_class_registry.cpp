// The class families as the provider library links them: every dispatch row
// is served by a registered family, every
// family has a row and is tested by each request kind it serves, and every
// property table matches its class definition in mof/.
#include "class_registry.h"
#include "class_repository.h"
#include "property_table.h"

#include <gtest/gtest.h>

#include <strings.h>

#include <algorithm>
#include <set>
#include <string>

namespace {

long rowOf(const char* className)
{
    for (size_t i = 0; i < g_DispatchTableSize; ++i)
        if (strcasecmp(g_DispatchTable[i].className, className) == 0)
            return static_cast<long>(i);
    return -1;
}

bool inOrder(const DispatchOrder& order, long row)
{
    return std::find(order.rows, order.rows + order.count, row) != order.rows + order.count;
}

TEST(ClassRegistry, EveryRowHasOneFamilyAndEveryFamilyItsRowsInEachOrder)
{
    std::set<std::string> registered;
    for (const ClassFamily& family : RegisteredClassFamilies()) {
        SCOPED_TRACE(family.className);
        EXPECT_TRUE(registered.insert(family.className).second) << "registered twice";
        const long row = rowOf(family.className);
        ASSERT_GE(row, 0) << "a family without a dispatch row";
        EXPECT_EQ(g_DispatchTable[row].handlers, family.handlers);
        EXPECT_TRUE(inOrder(g_InstanceOrder, row));
        EXPECT_TRUE(inOrder(g_EnumInstanceNamesOrder, row));
        if (family.handlers->setInstance) {
            EXPECT_TRUE(inOrder(g_SetInstanceOrder, row));
        }
        if (family.handlers->invokeMethod || family.handlers->invokeMethodWithBroker) {
            EXPECT_TRUE(inOrder(g_InvokeMethodOrder, row));
        }
    }
    for (size_t i = 0; i < g_DispatchTableSize; ++i) {
        const std::string name = g_DispatchTable[i].className;
        EXPECT_TRUE(registered.count(name)) << name << " has no family";
    }
}

std::string typeText(CMPIType t)
{
    return std::to_string(t & ~CMPI_ARRAY) + ((t & CMPI_ARRAY) ? "[]" : "");
}

TEST(ClassRegistry, EveryPropertyTableMatchesItsClassDefinition)
{
    vcim::ClassRepository repository;
    std::string error;
    ASSERT_TRUE(repository.loadDirectory(MOF_DIR, &error)) << error;
    size_t checked = 0;
    for (const ClassFamily& family : RegisteredClassFamilies()) {
        if (!family.properties)
            continue;
        SCOPED_TRACE(family.className);
        ++checked;
        EXPECT_STREQ(family.properties->className(), family.className);
        ASSERT_NE(repository.find(family.className), nullptr) << "no class definition";
        std::set<std::string> built;
        for (const PropertyInfo& p : family.properties->all()) {
            EXPECT_TRUE(built.insert(p.name).second) << p.name << " built twice";
            const vcim::PropertyDecl* decl = repository.findProperty(family.className, p.name);
            if (!decl) {
                ADD_FAILURE() << p.name << " is built but not declared";
                continue;
            }
            EXPECT_EQ(typeText(p.type), typeText(decl->type)) << p.name;
        }
        for (const vcim::PropertyDecl* decl : repository.properties(family.className))
            EXPECT_TRUE(built.count(decl->name)) << decl->name << " is declared but never built";
    }
    EXPECT_GE(checked, 3u);
}

} // namespace
