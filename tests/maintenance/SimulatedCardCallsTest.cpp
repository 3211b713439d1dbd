// The maintenance family against simulated cards of both driver generations:
// what reaches the driver, and what the caller gets back from it.
#include <gtest/gtest.h>


#include <cerrno>
#include <cstring>
#include <string>
#include <tuple>

#include "DirectCallTable.h"
#include "MaintenanceRecords.h"
#include "Quorvale.h"
#include "QuorvaleDeviceNode.h"
#include "SimulatedCard.h"
#include "TransportCallTable.h"

using simcard::Generation;
using simcard::NodeConfig;
using simcard::Reply;
using simcard::Request;
using simcard::SimulatedCard;

namespace maintenance_test {

void PrintTo(const TransportRow& row, std::ostream* os)
{
    *os << row.name;
}

void PrintTo(const DirectRow& row, std::ostream* os)
{
    *os << row.name;
}

namespace {

std::string generationName(Generation g)
{
    return g == Generation::Quorvale ? "Quorvale" : "VantorixIO";
}

// One simulated node, opened through the library's own open path and closed
// with it; the probing traffic of the open is cleared.
class OpenNode {
public:
    OpenNode(SimulatedCard& card, const NodeConfig& config) : card_(card)
    {
        name_ = card.addNode(config);
        QuorvaleDeviceNode node{};
        std::strncpy(node.namePrefix, config.prefix.c_str(), sizeof node.namePrefix - 1);
        node.unitNumber = static_cast<uint8_t>(config.unit);
        rec_ = QuorvaleOpenDevice(&node);
        EXPECT_NE(rec_, nullptr) << name_;
        card.clearRequests();
    }
    ~OpenNode() { CloseDriverConnectionCore(rec_); }
    OpenNode(const OpenNode&) = delete;
    OpenNode& operator=(const OpenNode&) = delete;

    QuorvaleInstanceRec* rec() { return rec_; }
    std::vector<Request> requests() const { return card_.requestsFor(name_); }

private:
    SimulatedCard& card_;
    std::string name_;
    QuorvaleInstanceRec* rec_ = nullptr;
};

NodeConfig nodeFor(Generation g)
{
    return g == Generation::Quorvale ? NodeConfig::dv(0) : NodeConfig::io(0);
}

// ---- Transport calls ----------------------------------------------------

class TransportCallOnCard : public ::testing::TestWithParam<std::tuple<Generation, TransportRow>> {
protected:
    void SetUp() override { ASSERT_TRUE(SimulatedCard::emulationActive()); }

    Generation generation() const { return std::get<0>(GetParam()); }
    const TransportRow& row() const { return std::get<1>(GetParam()); }
    bool asMessage() const { return generation() == Generation::VantorixIO && row().newer.messageCode != 0; }

    // The row's answer, keyed the way this generation receives the request.
    NodeConfig configured(const Reply& reply) const
    {
        NodeConfig c = nodeFor(generation());
        if (asMessage())
            c.messageReplies[row().newer.messageCode] = reply;
        else if (generation() == Generation::VantorixIO)
            c.replies[static_cast<unsigned long>(row().newer.request)] = reply;
        else
            c.replies[static_cast<unsigned long>(row().legacy)] = reply;
        return c;
    }

    SimulatedCard card;
};

TEST_P(TransportCallOnCard, ReachesTheDriverAsItsRequestAndShape)
{
    Reply reply = Reply::values(replyScalars());
    reply.structure = row().replyStruct;
    OpenNode node(card, configured(reply));
    Outputs out;
    ASSERT_EQ(row().invoke(node.rec(), out), 0);

    const std::vector<Request> log = node.requests();
    ASSERT_EQ(log.size(), 1u);
    const Request& r = log[0];
    EXPECT_FALSE(r.raw);
    if (asMessage()) {
        EXPECT_EQ(r.request, 0x90001u);
        ASSERT_TRUE(r.message);
        EXPECT_EQ(r.messageCode, row().newer.messageCode) << simcard::fourccText(r.messageCode);
        EXPECT_EQ(r.messageReserved, 0u);
        for (std::size_t i = 0; i < row().scalarsIn.size(); ++i)
            EXPECT_EQ(r.messageScalars[i], row().scalarsIn[i]) << "scalar " << i;
        EXPECT_TRUE(row().structIn.empty());
        EXPECT_EQ(row().structOutSize, 0u);
        return;
    }
    const int expected = generation() == Generation::Quorvale ? row().legacy : row().newer.request;
    EXPECT_EQ(r.request, static_cast<unsigned long>(expected));
    EXPECT_FALSE(r.message);
    EXPECT_EQ(r.scalarInputs, row().scalarsIn);
    EXPECT_EQ(r.structInput, row().structIn);
    EXPECT_EQ(r.scalarOutputCount, row().scalarOutCount);
    EXPECT_EQ(r.structOutputSize, row().structOutSize);
}

TEST_P(TransportCallOnCard, WritesTheDriversAnswer)
{
    Reply reply = Reply::values(replyScalars());
    reply.structure = row().replyStruct;
    OpenNode node(card, configured(reply));
    Outputs out;
    ASSERT_EQ(row().invoke(node.rec(), out), 0);
    row().expectWritten(out);
}

TEST_P(TransportCallOnCard, AFailingDriverGivesMinusOneAndNoOutput)
{
    OpenNode node(card, configured(Reply::failing(EIO)));
    Outputs out;
    EXPECT_EQ(row().invoke(node.rec(), out), -1);
    EXPECT_TRUE(out.untouched());
    EXPECT_EQ(node.requests().size(), 1u);
}

std::string transportCaseName(
    const ::testing::TestParamInfo<std::tuple<Generation, TransportRow>>& p)
{
    return generationName(std::get<0>(p.param)) + "_" + std::get<1>(p.param).name;
}

INSTANTIATE_TEST_SUITE_P(Maintenance, TransportCallOnCard,
                         ::testing::Combine(::testing::Values(Generation::Quorvale,
                                                              Generation::VantorixIO),
                                            ::testing::ValuesIn(transportRows())),
                         transportCaseName);

// ---- Descriptor calls ---------------------------------------------------

class DirectCallOnCard : public ::testing::TestWithParam<std::tuple<Generation, DirectRow>> {
protected:
    void SetUp() override { ASSERT_TRUE(SimulatedCard::emulationActive()); }

    Generation generation() const { return std::get<0>(GetParam()); }
    const DirectRow& row() const { return std::get<1>(GetParam()); }

    NodeConfig configured(const Reply* reply) const
    {
        NodeConfig c = nodeFor(generation());
        c.rawRequests[row().request] = row().argument.size();
        if (reply != nullptr)
            c.replies[row().request] = *reply;
        return c;
    }

    SimulatedCard card;
};

TEST_P(DirectCallOnCard, ReachesTheDriverUntranslatedWithThePointedBytes)
{
    OpenNode node(card, configured(nullptr));
    Outputs out;
    ASSERT_EQ(row().invoke(node.rec(), out), 0);
    const std::vector<Request> log = node.requests();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_TRUE(log[0].raw);
    EXPECT_EQ(log[0].request, row().request) << "the same number on both generations";
    if (row().hasArgument) {
        EXPECT_NE(log[0].rawValue, 0u);
        EXPECT_EQ(log[0].rawBytes, row().argument);
    } else {
        EXPECT_EQ(log[0].rawValue, 0u) << "no argument";
    }
}

TEST_P(DirectCallOnCard, ReadingCallsReturnTheDriversAnswer)
{
    const Reply reply = Reply::bytes(answer(row().argument.size()));
    OpenNode node(card, configured(&reply));
    Outputs out;
    ASSERT_EQ(row().invoke(node.rec(), out), 0);
    if (row().expectAnswered)
        row().expectAnswered(out);
    else
        EXPECT_TRUE(out.untouched());
}

TEST_P(DirectCallOnCard, AFailingDriverGivesMinusOneAndNoOutput)
{
    const Reply reply = Reply::failing(EIO);
    OpenNode node(card, configured(&reply));
    Outputs out;
    EXPECT_EQ(row().invoke(node.rec(), out), -1);
    EXPECT_TRUE(out.untouched());
    EXPECT_EQ(node.requests().size(), 1u);
}

std::string directCaseName(const ::testing::TestParamInfo<std::tuple<Generation, DirectRow>>& p)
{
    return generationName(std::get<0>(p.param)) + "_" + std::get<1>(p.param).name;
}

INSTANTIATE_TEST_SUITE_P(Maintenance, DirectCallOnCard,
                         ::testing::Combine(::testing::Values(Generation::Quorvale,
                                                              Generation::VantorixIO),
                                            ::testing::ValuesIn(directRows())),
                         directCaseName);

// ---- Named cases --------------------------------------------------------

class MaintenanceOnCard : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(SimulatedCard::emulationActive()); }
    SimulatedCard card;
};

TEST_F(MaintenanceOnCard, SetBypassStateOnTheNewerDriverIssuesA01Unchanged)
{
    NodeConfig c = NodeConfig::io(0);
    c.rawRequests[0xA01] = 4;
    OpenNode node(card, c);
    ASSERT_EQ(SetBypassState(node.rec(), 1), 0);
    const std::vector<Request> log = node.requests();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].request, 0xA01u);
    EXPECT_EQ(log[0].rawBytes, std::vector<uint8_t>({1, 0, 0, 0}));
}

TEST_F(MaintenanceOnCard, Write3DLookupTableOfWrongSizeSendsNothing)
{
    NodeConfig c = NodeConfig::dv(0);
    c.rawRequests[0x98C] = 8;
    OpenNode node(card, c);
    EXPECT_EQ(Write3DVideoOutputLookupTable(node.rec(), 1, lookupTable(), 16383), 1);
    EXPECT_EQ(Write3DVideoOutputLookupTable(node.rec(), 1, lookupTable(), 16385), 1);
    EXPECT_TRUE(node.requests().empty());
    EXPECT_EQ(Write3DVideoOutputLookupTable(node.rec(), 1, lookupTable(), 16384), 0);
    EXPECT_EQ(node.requests().size(), 1u);
}

// The driver record carries the table as a 32-bit address; in the product's
// 32-bit process that is the whole pointer.
TEST_F(MaintenanceOnCard, The3DRecordHoldsEnableAndTheTableAddress)
{
    NodeConfig c = NodeConfig::dv(0);
    c.rawRequests[0x98C] = 8;
    OpenNode node(card, c);
    ASSERT_EQ(Write3DVideoOutputLookupTable(node.rec(), 0xFF, lookupTable(), 16384), 0);
    const std::vector<uint8_t> bytes = node.requests().at(0).rawBytes;
    ASSERT_EQ(bytes.size(), 8u);
    quorvale::LookupTable3DRec record;
    std::memcpy(&record, bytes.data(), sizeof record);
    EXPECT_EQ(record.enable, 0xFFu) << "zero-extended from the byte";
    EXPECT_EQ(record.tableAddress, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(lookupTable())));
    if (sizeof(void*) == 4) {
        EXPECT_EQ(reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(record.tableAddress)),
                  lookupTable());
    }
}

TEST_F(MaintenanceOnCard, ReadLookupTablesReportEnableAsATruthValue)
{
    NodeConfig c = NodeConfig::dv(0);
    c.rawRequests[0x98B] = 16;
    c.rawRequests[0x98D] = 8;
    c.replies[0x98B] = Reply::bytes({0, 0, 0, 0});
    c.replies[0x98D] = Reply::bytes({0, 1, 0, 0});
    OpenNode node(card, c);
    uint8_t enable = 0xA5;
    ASSERT_EQ(Read1DVideoOutputLookupTable(node.rec(), &enable, 1, 2, 3), 0);
    EXPECT_EQ(enable, 0);
    ASSERT_EQ(Read3DVideoOutputLookupTable(node.rec(), &enable, nullptr, 16384), 0);
    EXPECT_EQ(enable, 1) << "first word 0x100";
    ASSERT_EQ(Read1DVideoOutputLookupTable(node.rec(), nullptr, 1, 2, 3), 0) << "enable may be omitted";
}

TEST_F(MaintenanceOnCard, SetAudioMeterModeIsAWriteOnTheIdleOperationRequest)
{
    for (NodeConfig c : {NodeConfig::dv(0), NodeConfig::io(1)}) {
        const bool io = c.generation == Generation::VantorixIO;
        OpenNode node(card, c);
        ASSERT_EQ(SetAudioMeterMode(node.rec(), 5), 0);
        const Request r = node.requests().at(0);
        if (io) {
            EXPECT_EQ(r.messageCode, simcard::fourcc("givo"));
            EXPECT_EQ(r.messageScalars[0], 5u);
        } else {
            EXPECT_EQ(r.request, 0x9D1u);
            EXPECT_EQ(r.scalarInputs, std::vector<uint64_t>({5}));
            EXPECT_EQ(r.scalarOutputCount, 0u);
        }
    }
}

TEST_F(MaintenanceOnCard, SerialWriteOfOneHundredBytesSendsSixtyFour)
{
    OpenNode node(card, NodeConfig::dv(0));
    const std::vector<uint8_t> data = counting(100, 1);
    uint32_t result = 0;
    ASSERT_EQ(SerialWrite(node.rec(), data.data(), 100, &result), 0);
    EXPECT_EQ(node.requests().at(0).structInput, std::vector<uint8_t>(data.begin(), data.begin() + 64));
}

TEST_F(MaintenanceOnCard, SerialReadWithInterruptCopiesOnlyTheCallersLength)
{
    quorvale::SerialTransferRec reply{};
    reply.count = 10;
    reply.extra = 0x42;
    std::memset(reply.data, 0x77, sizeof reply.data);
    NodeConfig c = NodeConfig::io(0);
    c.replies[0x90021] = Reply::bytes(bytesOf(&reply, sizeof reply));
    OpenNode node(card, c);
    uint8_t buffer[8];
    std::memset(buffer, 0xA5, sizeof buffer);
    uint32_t bytesRead = 0, extra = 0;
    ASSERT_EQ(SerialReadWithInterrupt(node.rec(), buffer, 4, &bytesRead, &extra), 0);
    EXPECT_EQ(bytesRead, 4u);
    EXPECT_EQ(extra, 0x42u);
    EXPECT_EQ(bytesOf(buffer, 5), std::vector<uint8_t>({0x77, 0x77, 0x77, 0x77, 0xA5}));
}

TEST_F(MaintenanceOnCard, SendMessageRequestExchangesTheRecordInPlaceOnTheNewerDriver)
{
    NodeConfig c = NodeConfig::io(0);
    c.messageReplies[simcard::fourcc("gsub")] = Reply::values({2, 3, 9});
    OpenNode node(card, c);
    QuorvaleMessageRequestRec request{simcard::fourcc("gsub"), 0, {11, 12, 13, 14}};
    ASSERT_EQ(SendMessageRequest(node.rec(), &request), 0);
    const Request r = node.requests().at(0);
    EXPECT_EQ(r.request, 0x90001u);
    EXPECT_EQ(r.messageCode, simcard::fourcc("gsub"));
    EXPECT_EQ(r.messageScalars[0], 11u);
    EXPECT_EQ(r.messageScalars[3], 14u);
    EXPECT_EQ(request.messageCode, simcard::fourcc("gsub"));
    EXPECT_EQ(request.scalars[0], 2u);
    EXPECT_EQ(request.scalars[1], 3u);
    EXPECT_EQ(request.scalars[2], 9u);
}

TEST_F(MaintenanceOnCard, SendBufferMessageRequestCarriesTheWholeRecord)
{
    OpenNode node(card, NodeConfig::io(0));
    QuorvaleBufferMessageRequestRec request;
    const std::vector<uint8_t> pattern = counting(1064, 3);
    std::memcpy(&request, pattern.data(), sizeof request);
    ASSERT_EQ(SendBufferMessageRequest(node.rec(), &request), 0);
    const Request r = node.requests().at(0);
    EXPECT_EQ(r.request, 0x90001u);
    EXPECT_EQ(r.structInput, pattern);
    EXPECT_EQ(r.structOutputSize, 1064u);
    EXPECT_EQ(bytesOf(&request, sizeof request), pattern) << "echoed in place";
}

TEST_F(MaintenanceOnCard, MessagesOnTheLegacyDriverGiveTenTwelveWithoutTraffic)
{
    OpenNode node(card, NodeConfig::dv(0));
    QuorvaleMessageRequestRec request{simcard::fourcc("gsub"), 0, {}};
    QuorvaleBufferMessageRequestRec buffer{};
    EXPECT_EQ(SendMessageRequest(node.rec(), &request), 1012);
    EXPECT_EQ(SendBufferMessageRequest(node.rec(), &buffer), 1012);
    EXPECT_TRUE(node.requests().empty());
}

TEST_F(MaintenanceOnCard, GetDriverInterfaceTypeNamesTheGenerationWithoutTraffic)
{
    OpenNode legacy(card, NodeConfig::dv(0));
    OpenNode newer(card, NodeConfig::io(0));
    EXPECT_EQ(GetDriverInterfaceType(legacy.rec()), 0);
    EXPECT_EQ(GetDriverInterfaceType(newer.rec()), 4);
    EXPECT_EQ(card.requestCount(), 0u);
}

TEST_F(MaintenanceOnCard, DriverStatisticsAndDMAUseTheNewerDriversOwnNumbers)
{
    OpenNode node(card, NodeConfig::io(0));
    QuorvaleDriverStatisticsRec statistics{};
    QuorvaleDMATransferRec transfer{};
    EXPECT_EQ(GetDriverStatistics(node.rec(), &statistics), 0);
    EXPECT_EQ(PerformDMATransfer(node.rec(), &transfer), 0);
    const std::vector<Request> log = node.requests();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].request, 0x9000Cu);
    EXPECT_EQ(log[0].structInputSize, 24u);
    EXPECT_EQ(log[0].structOutputSize, 24u);
    EXPECT_EQ(log[1].request, 0x9000Au);
    EXPECT_EQ(log[1].structInputSize, 24u);
    EXPECT_EQ(log[1].structOutputSize, 0u);
}

}  // namespace
}  // namespace maintenance_test
