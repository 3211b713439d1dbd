// Every transport call of the family against a recording legacy transport:
// request number, argument shape, and outputs written only on success.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "RecordingTransport.h"
#include "TransportCallTable.h"

namespace maintenance_test {

void PrintTo(const TransportRow& row, std::ostream* os)
{
    *os << row.name;
}

namespace {

// The calls that answer a missing record or transport with 1002 instead of 1.
bool answers1002(const std::string& name)
{
    static const std::set<std::string> names{"SerialReadWithInterrupt", "GetDriverStatistics",
                                             "PerformDMATransfer", "SetDriverAttribute"};
    return names.count(name) != 0;
}

class TransportCall : public ::testing::TestWithParam<TransportRow> {
protected:
    RecordingTransport transport;
    QuorvaleInstanceRec rec = recordFor(&transport);

    void SetUp() override
    {
        transport.replyScalars = replyScalars();
        transport.replyStruct = GetParam().replyStruct;
    }
};

TEST_P(TransportCall, SendsOneRequestWithItsShape)
{
    const TransportRow& row = GetParam();
    Outputs out;
    ASSERT_EQ(row.invoke(&rec, out), 0);
    ASSERT_EQ(transport.requests.size(), 1u);
    const RecordedRequest& r = transport.requests.front();
    EXPECT_EQ(r.request, row.legacy);
    EXPECT_EQ(r.scalarsIn, row.scalarsIn);
    EXPECT_EQ(r.structIn, row.structIn);
    EXPECT_EQ(r.scalarOutCount, row.scalarOutCount);
    EXPECT_EQ(r.structOutSize, row.structOutSize);
}

TEST_P(TransportCall, WritesItsOutputsOnSuccess)
{
    Outputs out;
    ASSERT_EQ(GetParam().invoke(&rec, out), 0);
    GetParam().expectWritten(out);
}

TEST_P(TransportCall, FailureIsPassedOnAndLeavesOutputsUntouched)
{
    for (int status : {-1, 1012, 7}) {
        transport.status = status;
        Outputs out;
        EXPECT_EQ(GetParam().invoke(&rec, out), status);
        EXPECT_TRUE(out.untouched()) << "status " << status;
    }
}

TEST_P(TransportCall, MissingRecordOrTransportReachesNoDriver)
{
    const int expected = answers1002(GetParam().name) ? 1002 : 1;
    Outputs out;
    EXPECT_EQ(GetParam().invoke(nullptr, out), expected);
    QuorvaleInstanceRec withoutTransport = recordFor(nullptr);
    EXPECT_EQ(GetParam().invoke(&withoutTransport, out), expected);
    EXPECT_TRUE(out.untouched());
    EXPECT_TRUE(transport.requests.empty());
}

INSTANTIATE_TEST_SUITE_P(Maintenance, TransportCall, ::testing::ValuesIn(transportRows()),
                         [](const ::testing::TestParamInfo<TransportRow>& p) {
                             return std::string(p.param.name);
                         });

}  // namespace
}  // namespace maintenance_test
