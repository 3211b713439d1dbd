// Requests must not touch the heap. Every allocation path of this binary is
// counted: operator new is replaced here, and malloc and its relatives are
// wrapped at link time (--wrap), which also works under the address sanitizer
// because the wrapped call still ends in the sanitizer's allocator.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>

#include "FakeDriver.h"
#include "IoctlMessageUser.h"
#include "VantorixIOIoctlMessageUser.h"

namespace {
std::atomic<unsigned long> g_news{0};
std::atomic<unsigned long> g_mallocs{0};
}  // namespace

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* p, std::size_t size);
int __real_posix_memalign(void** p, std::size_t alignment, std::size_t size);
void* __real_aligned_alloc(std::size_t alignment, std::size_t size);

void* __wrap_malloc(std::size_t size)
{
    ++g_mallocs;
    return __real_malloc(size);
}
void* __wrap_calloc(std::size_t count, std::size_t size)
{
    ++g_mallocs;
    return __real_calloc(count, size);
}
void* __wrap_realloc(void* p, std::size_t size)
{
    ++g_mallocs;
    return __real_realloc(p, size);
}
int __wrap_posix_memalign(void** p, std::size_t alignment, std::size_t size)
{
    ++g_mallocs;
    return __real_posix_memalign(p, alignment, size);
}
void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size)
{
    ++g_mallocs;
    return __real_aligned_alloc(alignment, size);
}
}

void* operator new(std::size_t size)
{
    ++g_news;
    if (void* p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size)
{
    return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    ++g_news;
    return std::malloc(size ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept
{
    return operator new(size, tag);
}
void operator delete(void* p) noexcept
{
    std::free(p);
}
void operator delete[](void* p) noexcept
{
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept
{
    std::free(p);
}

namespace {

struct Counts {
    unsigned long news = g_news.load();
    unsigned long mallocs = g_mallocs.load();
};

// Allocations made while `run` executes.
template <typename Run>
Counts allocationsDuring(Run&& run)
{
    const Counts before;
    run();
    const Counts after;
    return {after.news - before.news, after.mallocs - before.mallocs};
}

using ULL = unsigned long long;

struct Operation {
    const char* name;
    int req;
    std::function<int(IoctlMessageUser&, int)> run;
};

// One buffer set shared by all operations: the lambdas only take references.
struct Buffers {
    ULL in[4] = {1, 2, 3, 4};
    ULL out[4] = {};
    uint8_t sIn[184] = {};
    uint8_t sOut[1064] = {};
    unsigned size = 0;
    bool b = false;
    unsigned int u = 0;
    unsigned char c = 0;
    _VantorixIOMessageRequest message{};
    _VantorixIOBufferMessageRequest buffer{};
} g;

const Operation kLegacyOperations[] = {
    {"call", 0x993, [](IoctlMessageUser& t, int r) { return t.call(r); }},
    {"callArgs", 0x993, [](IoctlMessageUser& t, int r) { IoctlArguments a{}; return t.call(r, &a); }},
    {"readScalarArray", 0x99A, [](IoctlMessageUser& t, int r) { return t.readScalar(r, g.out, 3); }},
    {"readScalarBool", 0x994, [](IoctlMessageUser& t, int r) { return t.readScalar(r, &g.b); }},
    {"readScalarUInt", 0x994, [](IoctlMessageUser& t, int r) { return t.readScalar(r, &g.u); }},
    {"readScalarUChar", 0x994, [](IoctlMessageUser& t, int r) { return t.readScalar(r, &g.c); }},
    {"readStruct", 0x990, [](IoctlMessageUser& t, int r) { g.size = 104; return t.readStruct(r, g.sOut, &g.size); }},
    {"writeScalarArray", 0x980, [](IoctlMessageUser& t, int r) { return t.writeScalar(r, g.in, 4); }},
    {"writeScalarBool", 0x980, [](IoctlMessageUser& t, int r) { return t.writeScalar(r, true); }},
    {"writeScalarUInt", 0x980, [](IoctlMessageUser& t, int r) { return t.writeScalar(r, 3u); }},
    {"writeScalarUChar", 0x980, [](IoctlMessageUser& t, int r) { return t.writeScalar(r, static_cast<unsigned char>(3)); }},
    {"writeStruct", 0x905, [](IoctlMessageUser& t, int r) { return t.writeStruct(r, g.sIn, 184); }},
    {"exchangeUInt", 0x9A0, [](IoctlMessageUser& t, int r) { return t.writeScalarReadScalar(r, 1u, &g.u); }},
    {"exchangeUChar", 0x9A0, [](IoctlMessageUser& t, int r) { return t.writeScalarReadScalar(r, 1u, &g.c); }},
    {"writeScalarReadScalar", 0x9A0, [](IoctlMessageUser& t, int r) { return t.writeScalarReadScalar(r, g.in, 2, g.out, 2); }},
    {"writeScalarReadStruct", 0x9A0, [](IoctlMessageUser& t, int r) { g.size = 160; return t.writeScalarReadStruct(r, g.in, 1, g.sOut, &g.size); }},
    {"writeStructReadStruct", 0x906, [](IoctlMessageUser& t, int r) { g.size = 4; return t.writeStructReadStruct(r, g.sIn, 184, g.sOut, &g.size); }},
    {"writeStructReadScalar", 0x906, [](IoctlMessageUser& t, int r) { return t.writeStructReadScalar(r, g.sIn, 32, g.out, 1); }},
    {"writeScalarWriteStruct", 0x906, [](IoctlMessageUser& t, int r) { return t.writeScalarWriteStruct(r, g.in, 2, g.sIn, 16); }},
    {"largeReadStruct", 0x90A, [](IoctlMessageUser& t, int r) { g.size = 1024; return t.readStruct(r, g.sOut, &g.size); }},
};

TEST(TransportAllocation, CountersSeeBothAllocationPaths)
{
    void* (*volatile allocate)(std::size_t) = std::malloc;
    const Counts seen = allocationsDuring([&] {
        std::free(allocate(24));
        delete new std::string(64, 'x');
    });
    EXPECT_GE(seen.mallocs, 1u);
    EXPECT_GE(seen.news, 1u);
}

TEST(TransportAllocation, EveryLegacyOperationAllocatesNothing)
{
    IoctlMessageUser t(7);
    for (const Operation& op : kLegacyOperations) {
        fakedriver::reset();
        int status = -2;
        const Counts seen = allocationsDuring([&] { status = op.run(t, op.req); });
        EXPECT_EQ(status, 0) << op.name;
        EXPECT_EQ(fakedriver::requestCount(), 1u) << op.name;
        EXPECT_EQ(seen.news, 0u) << op.name;
        EXPECT_EQ(seen.mallocs, 0u) << op.name;
    }
}

TEST(TransportAllocation, EveryOperationOnTheTranslatingTransportAllocatesNothing)
{
    VantorixIOIoctlMessageUser t(7);
    for (const Operation& op : kLegacyOperations) {
        fakedriver::reset();
        int status = -2;
        const Counts seen = allocationsDuring([&] { status = op.run(t, op.req); });
        // Message-routed structures are refused (1002); every other one reaches the driver.
        EXPECT_TRUE(status == 0 || status == 1002) << op.name << " " << status;
        EXPECT_EQ(seen.news, 0u) << op.name;
        EXPECT_EQ(seen.mallocs, 0u) << op.name;
    }
}

TEST(TransportAllocation, MessagePathAllocatesNothing)
{
    VantorixIOIoctlMessageUser t(7);
    fakedriver::reset();
    ULL values[3] = {};
    unsigned int u = 0;
    int statuses[5] = {};
    const Counts seen = allocationsDuring([&] {
        statuses[0] = t.readScalar(0x99A, values, 3);
        statuses[1] = t.readScalar(0x10000, &u);
        statuses[2] = t.writeScalarReadScalar(0x9A0, 4u, &u);
        statuses[3] = t.sendMessage(&g.message);
        statuses[4] = t.sendBufferMessage(&g.buffer);
    });
    for (int s : statuses)
        EXPECT_EQ(s, 0);
    EXPECT_EQ(fakedriver::requestCount(), 5u);
    EXPECT_EQ(fakedriver::lastRequest().number, 0x90001u);
    EXPECT_EQ(seen.news, 0u);
    EXPECT_EQ(seen.mallocs, 0u);
}

TEST(TransportAllocation, RefusedAndFailedRequestsAllocateNothing)
{
    VantorixIOIoctlMessageUser t(7);
    IoctlMessageUser legacy(7);
    fakedriver::reset();
    fakedriver::reply().status = -1;
    int statuses[3] = {};
    const Counts seen = allocationsDuring([&] {
        statuses[0] = t.call(0x915);
        statuses[1] = t.readScalar(0x99A, g.out, 2);
        statuses[2] = legacy.readScalar(0x994, &g.u);
    });
    EXPECT_EQ(statuses[0], 1002);
    EXPECT_EQ(statuses[1], -1);
    EXPECT_EQ(statuses[2], -1);
    EXPECT_EQ(seen.news, 0u);
    EXPECT_EQ(seen.mallocs, 0u);
}

}  // namespace
