// The descriptor calls without a driver behind them: argument checks, the
// lookup-table size rule, and that they never need the transport.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "DirectCallTable.h"
#include "RecordingTransport.h"

namespace maintenance_test {

void PrintTo(const DirectRow& row, std::ostream* os)
{
    *os << row.name;
}

namespace {

TEST(DirectCallTable, CoversEveryDescriptorCallOnce)
{
    std::set<unsigned long> requests;
    std::set<std::string> names;
    for (const DirectRow& row : directRows()) {
        requests.insert(row.request);
        names.insert(row.name);
    }
    EXPECT_EQ(directRows().size(), 31u);
    EXPECT_EQ(requests.size(), 31u);
    EXPECT_EQ(names.size(), 31u);
}

class DirectCall : public ::testing::TestWithParam<DirectRow> {};

TEST_P(DirectCall, NullRecordGivesOne)
{
    Outputs out;
    EXPECT_EQ(GetParam().invoke(nullptr, out), 1);
    EXPECT_TRUE(out.untouched());
}

// A record without a transport still reaches its descriptor: here a closed
// one, so the ioctl's own -1 comes back.
TEST_P(DirectCall, GoesToTheDescriptorWithoutTheTransport)
{
    RecordingTransport transport;
    QuorvaleInstanceRec rec = recordFor(nullptr, -1);
    Outputs out;
    EXPECT_EQ(GetParam().invoke(&rec, out), -1);
    EXPECT_TRUE(out.untouched()) << "a failed request writes no output";
    rec.transport = &transport;
    EXPECT_EQ(GetParam().invoke(&rec, out), -1);
    EXPECT_TRUE(transport.requests.empty());
}

std::vector<DirectRow> getRows()
{
    std::vector<DirectRow> rows;
    for (const DirectRow& row : directRows())
        if (row.isGet)
            rows.push_back(row);
    return rows;
}

class DirectGetCall : public ::testing::TestWithParam<DirectRow> {};

TEST_P(DirectGetCall, NullOutputGivesOneWithoutACall)
{
    QuorvaleInstanceRec rec = recordFor(nullptr, -1);
    // A call would have reached the closed descriptor and answered -1.
    EXPECT_EQ(GetParam().invokeWithNullOutput(&rec), 1);
}

std::string rowName(const ::testing::TestParamInfo<DirectRow>& p)
{
    return p.param.name;
}

INSTANTIATE_TEST_SUITE_P(Maintenance, DirectCall, ::testing::ValuesIn(directRows()), rowName);
INSTANTIATE_TEST_SUITE_P(Maintenance, DirectGetCall, ::testing::ValuesIn(getRows()), rowName);

TEST(DirectCallTable, HasTenSimpleGetCalls)
{
    EXPECT_EQ(getRows().size(), 10u);
}

// Lookup-table size rule: anything but exactly 16384 bytes is refused before
// the descriptor is touched (a closed descriptor answers -1 only if reached).
TEST(LookupTableSize, Write3DWithAnythingButSixteenKibibytesGivesOneAndSendsNothing)
{
    QuorvaleInstanceRec rec = recordFor(nullptr, -1);
    EXPECT_EQ(Write3DVideoOutputLookupTable(&rec, 1, lookupTable(), 16383), 1);
    EXPECT_EQ(Write3DVideoOutputLookupTable(&rec, 1, lookupTable(), 16385), 1);
    EXPECT_EQ(Write3DVideoOutputLookupTable(&rec, 1, lookupTable(), 0), 1);
    EXPECT_EQ(Write3DVideoOutputLookupTable(&rec, 1, lookupTable(), 16384), -1) << "reached the descriptor";
}

TEST(LookupTableSize, Read3DWithAnythingButSixteenKibibytesGivesOneAndLeavesEnable)
{
    QuorvaleInstanceRec rec = recordFor(nullptr, -1);
    uint8_t enable = 0xA5;
    uint8_t table[16];
    EXPECT_EQ(Read3DVideoOutputLookupTable(&rec, &enable, table, 16383), 1);
    EXPECT_EQ(Read3DVideoOutputLookupTable(&rec, &enable, table, 16385), 1);
    EXPECT_EQ(Read3DVideoOutputLookupTable(&rec, &enable, table, 16384), -1);
    EXPECT_EQ(enable, 0xA5);
}

}  // namespace
}  // namespace maintenance_test
