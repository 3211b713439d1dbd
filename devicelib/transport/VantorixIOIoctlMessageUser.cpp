#include "VantorixIOIoctlMessageUser.h"

#include <cstring>

#include "QuorvaleTypes.h"

namespace {

using Translation = VantorixIOIoctlMessageUser::Translation;

constexpr Translation renumbered(int32_t legacy, int32_t request)
{
    return {legacy, request, 0};
}

constexpr Translation message(int32_t legacy, const char (&code)[5])
{
    return {legacy, VantorixIOIoctlMessageUser::kMessageRequest, messageCode(code)};
}

// Every legacy request the newer driver serves. The new numbers do not follow
// the legacy order (0x905 and 0x90A, 0x9DB and 0x9DC cross): keep them as they are.
constexpr Translation kTranslations[] = {
    renumbered(0x901, 0x90002),
    renumbered(0x902, 0x90003),
    renumbered(0x903, 0x90004),
    renumbered(0x904, 0x90005),
    renumbered(0x905, 0x9000B),
    renumbered(0x906, 0x90006),
    renumbered(0x907, 0x90008),
    renumbered(0x909, 0x90009),
    renumbered(0x90A, 0x90007),
    message(0x90B, "iscr"),
    message(0x90C, "gcsf"),
    renumbered(0x910, 0x90011),
    renumbered(0x911, 0x90012),
    message(0x912, "svid"),
    message(0x913, "gisz"),
    renumbered(0x914, 0x90013),
    renumbered(0x916, 0x90014),
    renumbered(0x917, 0x90015),
    message(0x918, "recy"),
    message(0x919, "rvdi"),
    message(0x91B, "gcit"),
    message(0x91C, "shat"),
    message(0x91D, "ghat"),
    message(0x91E, "vprv"),
    message(0x91F, "gcsi"),
    renumbered(0x930, 0x9000D),
    renumbered(0x931, 0x9000E),
    renumbered(0x932, 0x9000F),
    message(0x933, "gbsc"),
    message(0x934, "gast"),
    renumbered(0x936, 0x90016),
    renumbered(0x937, 0x90017),
    renumbered(0x938, 0x90018),
    message(0x939, "ibsc"),
    message(0x93A, "fluh"),
    message(0x93D, "isrc"),
    message(0x93E, "gsrc"),
    message(0x940, "dnfo"),
    message(0x941, "savf"),
    message(0x942, "gavf"),
    message(0x943, "sfla"),
    message(0x944, "gfla"),
    message(0x945, "svis"),
    message(0x946, "gvis"),
    message(0x947, "saif"),
    message(0x948, "gaif"),
    message(0x949, "s444"),
    message(0x94A, "g444"),
    message(0x94B, "sacl"),
    message(0x94C, "sais"),
    message(0x94D, "saos"),
    message(0x94E, "sdis"),
    message(0x94F, "sdos"),
    message(0x950, "saof"),
    message(0x951, "gaof"),
    message(0x952, "gacl"),
    message(0x953, "gais"),
    message(0x954, "gaos"),
    message(0x955, "gdis"),
    message(0x956, "gdos"),
    message(0x960, "sfie"),
    message(0x961, "gfie"),
    message(0x962, "spul"),
    message(0x963, "gpul"),
    message(0x964, "sbdc"),
    message(0x965, "gdbc"),
    message(0x966, "spag"),
    message(0x967, "gcag"),
    message(0x968, "scao"),
    message(0x969, "gcao"),
    message(0x96A, "saog"),
    message(0x96B, "gaog"),
    message(0x96C, "scig"),
    message(0x96D, "gcig"),
    message(0x96E, "scai"),
    message(0x96F, "gcai"),
    message(0x970, "ssig"),
    message(0x971, "gsig"),
    message(0x972, "avaa"),
    message(0x973, "evaa"),
    message(0x974, "sref"),
    message(0x975, "gref"),
    message(0x976, "svan"),
    message(0x977, "gvan"),
    message(0x978, "sdca"),
    message(0x979, "gdcm"),
    message(0x97A, "sdao"),
    message(0x97B, "gdao"),
    message(0x97C, "shdm"),
    message(0x97D, "ghdm"),
    message(0x97E, "sidm"),
    message(0x97F, "gidm"),
    message(0x980, "sgen"),
    message(0x981, "iref"),
    message(0x982, "spro"),
    message(0x983, "gpro"),
    message(0x984, "ggen"),
    message(0x985, "scta"),
    message(0x986, "gcta"),
    renumbered(0x990, 0x90000),
    message(0x991, "gvid"),
    message(0x992, "peid"),
    message(0x993, "gtim"),
    message(0x994, "huse"),
    message(0x996, "gfwv"),
    message(0x999, "naud"),
    message(0x99A, "gsub"),
    message(0x99B, "g3dp"),
    message(0x99C, "s3dp"),
    message(0x99D, "gbus"),
    message(0x99E, "toid"),
    message(0x9A0, "rreg"),
    message(0x9A1, "wreg"),
    renumbered(0x9A2, 0x9001E),
    message(0x9A3, "psta"),
    message(0x9A6, "vrfy"),
    message(0x9B0, "abon"),
    message(0x9B1, "aoff"),
    message(0x9B2, "galf"),
    message(0x9B3, "ramp"),
    message(0x9B4, "dram"),
    message(0x9B5, "abse"),
    message(0x9D0, "sivo"),
    message(0x9D1, "givo"),
    renumbered(0x9D7, 0x9001A),
    renumbered(0x9D8, 0x9001B),
    renumbered(0x9D9, 0x9001C),
    renumbered(0x9DA, 0x9001D),
    renumbered(0x9DB, 0x90022),
    renumbered(0x9DC, 0x90021),
    message(0x9DD, "sint"),
    message(0x9DE, "rxtx"),
    message(0x9DF, "sxtx"),
    renumbered(0x9E0, 0x90023),
    renumbered(0x9F0, 0x9001F),
    renumbered(0x9F1, 0x90020),
    message(0xA02, "gdvo"),
    message(0xA03, "sdvo"),
    message(0xA04, "satr"),
    message(0xA05, "gatr"),
    message(0xA06, "dsvi"),
    message(0xA07, "stat"),
    renumbered(0xB00, 0x90024),
    renumbered(0xB01, 0x90025),
    renumbered(0xB02, 0x90026),
    message(0x1010, "wfai"),
    message(0x1011, "wprv"),
    message(0x10000, "sdsv"),
};

static_assert(sizeof kTranslations / sizeof kTranslations[0] == VantorixIOIoctlMessageUser::kTranslationCount,
              "148 legacy requests");

using IoctlTranslationMap = VantorixIOIoctlMessageUser::IoctlTranslationMap;
using MessageTranslationMap = VantorixIOIoctlMessageUser::MessageTranslationMap;

// Both maps come from the one table, the message code stored only for the
// message request: a legacy number has a code exactly when it maps to 0x90001.
constexpr IoctlTranslationMap buildIoctlTranslation()
{
    IoctlTranslationMap map{};
    std::size_t n = 0;
    for (const Translation& row : kTranslations) {
        map.keys[n] = row.legacy;
        map.values[n++] = row.request;
    }
    map.sort();
    return map;
}

constexpr MessageTranslationMap buildMessageTranslation()
{
    MessageTranslationMap map{};
    std::size_t n = 0;
    for (const Translation& row : kTranslations)
        if (row.request == VantorixIOIoctlMessageUser::kMessageRequest) {
            map.keys[n] = row.legacy;
            map.values[n++] = row.messageCode;
        }
    map.sort();
    return map;
}

constexpr std::size_t messageRows()
{
    std::size_t n = 0;
    for (const Translation& row : kTranslations)
        n += row.request == VantorixIOIoctlMessageUser::kMessageRequest;
    return n;
}

static_assert(messageRows() == VantorixIOIoctlMessageUser::kMessageTranslationCount, "114 messages");

constexpr IoctlTranslationMap kIoctlTranslation = buildIoctlTranslation();
constexpr MessageTranslationMap kMessageTranslation = buildMessageTranslation();
static_assert(kIoctlTranslation.strictlyAscending(), "one row per legacy request");
static_assert(kMessageTranslation.strictlyAscending(), "one code per legacy request");

// For each row of the request table in key order, what the message table
// holds for the same legacy number ("tred" where it holds nothing), so that a
// message-routed request finds its code from the row its first search found.
struct CodesByRow {
    uint32_t code[VantorixIOIoctlMessageUser::kTranslationCount];
};

constexpr CodesByRow buildCodesByRow()
{
    CodesByRow byRow{};
    for (std::size_t row = 0; row < kIoctlTranslation.size(); ++row) {
        byRow.code[row] = VantorixIOIoctlMessageUser::kNoMessage;
        for (std::size_t m = 0; m < kMessageTranslation.size(); ++m)
            if (kMessageTranslation.keys[m] == kIoctlTranslation.keys[row])
                byRow.code[row] = kMessageTranslation.values[m];
    }
    return byRow;
}

constexpr CodesByRow kCodesByRow = buildCodesByRow();

// The invariant that makes this the same answer as a second search of the
// message table: a code exactly for the rows that become the message request.
constexpr bool codesFollowTheMessageRequest()
{
    for (std::size_t row = 0; row < kIoctlTranslation.size(); ++row)
        if ((kCodesByRow.code[row] != VantorixIOIoctlMessageUser::kNoMessage)
            != (kIoctlTranslation.values[row] == VantorixIOIoctlMessageUser::kMessageRequest))
            return false;
    return true;
}
static_assert(codesFollowTheMessageRequest(), "a code exactly for the message-routed requests");

// The message-routed requests, apart: the frame the renumbered ones reach the
// driver from then holds no message record and reads no table of codes.
__attribute__((noinline)) int callAsMessage(VantorixIOIoctlMessageUser* transport, std::size_t row,
                                            IoctlArguments* args)
{
    const unsigned code = kCodesByRow.code[row];
    if (code == VantorixIOIoctlMessageUser::kNoMessage)
        return kQuorvaleNotTranslatable;
    if (args->scalarOutputCount > VantorixIOIoctlMessageUser::kMessageScalars
        || args->scalarInputCount > VantorixIOIoctlMessageUser::kMessageScalars
        || args->structOutputSize != 0 || args->structInputSize != 0)
        return kQuorvaleNotTranslatable;

    // Scalars beyond the inputs travel as whatever the stack held: the driver
    // reads only as many as the request carries.
    _VantorixIOMessageRequest record;
    record.messageCode = code;
    record.reserved = 0;
    // At most four scalars each way (checked above): copied word by word.
    for (uint32_t i = 0; i < args->scalarInputCount; ++i)
        record.scalars[i] = args->scalarInput[i];

    const int status = transport->sendMessage(&record);
    if (status != 0)
        return status;
    for (uint32_t i = 0; i < args->scalarOutputCount; ++i)
        args->scalarOutput[i] = record.scalars[i];
    return 0;
}

}  // namespace

const Translation* VantorixIOIoctlMessageUser::translationTable(std::size_t* count)
{
    *count = sizeof kTranslations / sizeof kTranslations[0];
    return kTranslations;
}

VantorixIOIoctlMessageUser::VantorixIOIoctlMessageUser(int descriptor)
    : IoctlMessageUser(descriptor), ioctlTranslation(kIoctlTranslation), messageTranslation(kMessageTranslation)
{
}

VantorixIOIoctlMessageUser::~VantorixIOIoctlMessageUser() = default;

int VantorixIOIoctlMessageUser::call(int req, IoctlArguments* args)
{
    int request = req;
    if (req < kFirstNewRequest) {
        // One search gives the row of both tables' answers for this number.
        // It searches the table ioctlTranslation refers to by its own name:
        // the compiler then knows the keys and folds them into the search.
        const std::size_t row = kIoctlTranslation.floorIndex(req);
        if (kIoctlTranslation.keys[row] != req)
            return kQuorvaleNotTranslatable;
        request = kIoctlTranslation.values[row];
        if (request == kMessageRequest)
            return callAsMessage(this, row, args);
    }
    // IoctlMessageUser::call(request, args), from this frame.
    return transfer(fd, request, args);
}

int VantorixIOIoctlMessageUser::sendMessage(_VantorixIOMessageRequest* request)
{
    unsigned size = sizeof *request;
    return writeStructReadStruct(kMessageRequest, request, sizeof *request, request, &size);
}

int VantorixIOIoctlMessageUser::sendBufferMessage(_VantorixIOBufferMessageRequest* request)
{
    unsigned size = sizeof *request;
    return writeStructReadStruct(kMessageRequest, request, sizeof *request, request, &size);
}

int VantorixIOIoctlMessageUser::interfaceType() const
{
    return 4;
}
