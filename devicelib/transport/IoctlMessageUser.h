// The per-device transport: typed requests become one ioctl carrying one
// self-describing argument block. The virtual order is the dispatch order the
// narrow wrappers rely on: they call through the table, so a derived class
// that overrides call() or the wide operations sees all traffic.
#ifndef QUORVALE_IOCTL_MESSAGE_USER_H
#define QUORVALE_IOCTL_MESSAGE_USER_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <sys/ioctl.h>

#include "IoctlArguments.h"

class IoctlMessageUser {
public:
    explicit IoctlMessageUser(int fd);
    virtual ~IoctlMessageUser();

    IoctlMessageUser(const IoctlMessageUser&) = delete;
    IoctlMessageUser& operator=(const IoctlMessageUser&) = delete;

    virtual void* mapMemory(unsigned pageIndex, unsigned length, bool writable);
    virtual int call(int req);
    virtual int call(int req, IoctlArguments* args);
    virtual int readScalar(int req, unsigned long long* out, unsigned count);
    virtual int readScalar(int req, bool* out);
    virtual int readScalar(int req, unsigned int* out);
    virtual int readScalar(int req, unsigned char* out);
    virtual int readStruct(int req, void* out, unsigned* inOutSize);
    virtual int writeScalar(int req, const unsigned long long* in, unsigned count);
    virtual int writeScalar(int req, bool v);
    virtual int writeScalar(int req, unsigned int v);
    virtual int writeScalar(int req, unsigned char v);
    virtual int writeStruct(int req, const void* in, unsigned size);
    virtual int writeScalarReadScalar(int req, unsigned int in, unsigned int* out);
    virtual int writeScalarReadScalar(int req, unsigned int in, unsigned char* out);
    virtual int writeScalarReadScalar(int req, const unsigned long long* in, unsigned inCount,
                                      unsigned long long* out, unsigned outCount);
    virtual int writeScalarReadStruct(int req, const unsigned long long* in, unsigned inCount,
                                      void* out, unsigned* inOutSize);
    virtual int writeStructReadStruct(int req, const void* in, unsigned inSize, void* out,
                                      unsigned* inOutSize);
    virtual int writeStructReadScalar(int req, const void* in, unsigned inSize,
                                      unsigned long long* out, unsigned outCount);
    virtual int writeScalarWriteStruct(int req, const unsigned long long* in, unsigned inCount,
                                       const void* s, unsigned size);
    virtual int sendMessage(_VantorixIOMessageRequest* request);
    virtual int sendBufferMessage(_VantorixIOBufferMessageRequest* request);
    virtual int interfaceType() const;

    // "Quorvale" gives the plain transport, "VantorixIO" the translating one,
    // anything else (compared case-sensitively) null. The caller owns it.
    static IoctlMessageUser* createForDriver(int fd, const char* driverName);

    int descriptor() const { return fd; }

    // The driver block: header, input scalars, input structure, then room for
    // the output scalars and structure, in one buffer starting on 16 bytes.
    static constexpr std::size_t kBlockAlignment = 16;
    // Up to this length the block is a buffer of fixed size: the message
    // record in and out (96 bytes) and every scalar-only request fit.
    static constexpr std::size_t kShortBlockLength = 128;
    // Counted in 64 bits: four 32-bit counts overflow a 32-bit size.
    static constexpr uint64_t blockLength(const IoctlArguments& args)
    {
        return sizeof(IoctlBlockHeader) + uint64_t{8} * args.scalarInputCount
               + args.structInputSize + uint64_t{8} * args.scalarOutputCount
               + args.structOutputSize;
    }
    // The same answer as blockLength(args) <= kShortBlockLength, in 32-bit
    // arithmetic, which the product's ABI does in half the instructions: with
    // every count below 2^16 the sum cannot wrap.
    static constexpr bool fitsShortBlock(const IoctlArguments& args)
    {
        return ((args.scalarInputCount | args.structInputSize | args.scalarOutputCount | args.structOutputSize)
                >> 16) == 0
               && sizeof(IoctlBlockHeader) + 8 * args.scalarInputCount + args.structInputSize
                          + 8 * args.scalarOutputCount + args.structOutputSize
                      <= kShortBlockLength;
    }
    // The block lives on the caller's stack, so its length has a ceiling:
    // 64 KiB is thirty times the largest block the library builds itself (a
    // buffer message in and out, 2144 bytes), room for 4096 completion
    // records or any API notification, and a small part of a thread's stack.
    // A longer request is refused before anything reaches the driver.
    static constexpr uint64_t kMaxBlockLength = 64 * 1024;

protected:
    // A copy for the transport's sizes, mostly a few words: up to 64 bytes as two
    // overlapping fixed-size moves, which compile to a handful of loads and
    // stores, instead of a call into the C library for every scalar array or
    // message record; larger ones go to the library.
    static void copyBytes(void* to, const void* from, std::size_t size)
    {
        auto* d = static_cast<unsigned char*>(to);
        const auto* s = static_cast<const unsigned char*>(from);
        unsigned char head[32];
        unsigned char tail[32];
        if (size >= 32 && size <= 64) {
            std::memcpy(head, s, 32);
            std::memcpy(tail, s + size - 32, 32);
            std::memcpy(d, head, 32);
            std::memcpy(d + size - 32, tail, 32);
        } else if (size >= 16 && size < 32) {
            std::memcpy(head, s, 16);
            std::memcpy(tail, s + size - 16, 16);
            std::memcpy(d, head, 16);
            std::memcpy(d + size - 16, tail, 16);
        } else if (size >= 8 && size < 16) {
            std::memcpy(head, s, 8);
            std::memcpy(tail, s + size - 8, 8);
            std::memcpy(d, head, 8);
            std::memcpy(d + size - 8, tail, 8);
        } else {
            std::memcpy(d, s, size);
        }
    }

    // What call(req, args) does on descriptor fd. Inline, so that a derived
    // transport that re-addresses a request reaches the driver from its own
    // frame: on the product's ABI every further call passes the request and
    // the descriptor through memory once more, and that wait comes before
    // the system call can start. No heap per request: the block lives on the
    // stack. Most requests are a few words and a message record: those use a
    // buffer of fixed size in this frame, aligned by the stack's own
    // alignment, which costs nothing to set up.
    __attribute__((always_inline)) static int transfer(int fd, int req, IoctlArguments* args)
    {
        if (!fitsShortBlock(*args))
            return transferLongBlock(fd, req, args);
        alignas(kBlockAlignment) unsigned char block[kShortBlockLength];
        return exchange(fd, req, args, block);
    }

    int fd;  // not owned: the device record closes it

private:
    // Builds the block in `block` (room for blockLength(*args) bytes, aligned
    // to 16), makes the one system call and copies the outputs back.
    __attribute__((always_inline)) static int exchange(int fd, int req, IoctlArguments* args,
                                                       unsigned char* block)
    {
        // The counts are read one word at a time, and the empty asm keeps the
        // compiler from merging the reads into one 16-byte load: callers have
        // just written them as separate words, and a wide read of several
        // fresh narrow writes cannot take their values from the store buffer,
        // so it waits until they reach the cache, and the system call with it.
        uint32_t scalarsIn = args->scalarInputCount;
        uint32_t structIn = args->structInputSize;
        uint32_t scalarsOut = args->scalarOutputCount;
        uint32_t structOut = args->structOutputSize;
        __asm__("" : "+r"(scalarsIn), "+r"(structIn), "+r"(scalarsOut), "+r"(structOut));
        // Four plain word stores: left to itself the compiler packs the words
        // into one vector store, and the packing costs more than it saves.
        typedef volatile uint32_t __attribute__((__may_alias__)) BlockWord;
        auto* words = reinterpret_cast<BlockWord*>(block);
        words[0] = scalarsIn;
        words[1] = structIn;
        words[2] = scalarsOut;
        words[3] = structOut;
        unsigned char* cursor = block + sizeof(IoctlBlockHeader);
        if (scalarsIn != 0) {
            const std::size_t bytes = std::size_t{8} * scalarsIn;
            copyBytes(cursor, args->scalarInput, bytes);
            cursor += bytes;
        }
        if (structIn != 0)
            copyBytes(cursor, args->structInput, structIn);

        const int status = ioctl(fd, static_cast<unsigned long>(req), block);
        if (status != 0)
            return status;

        // The driver's header decides where the outputs are and how much to copy:
        // it never returns more than it was offered, so no clamping here.
        IoctlBlockHeader header;
        std::memcpy(&header, block, sizeof header);
        const unsigned char* out = block + sizeof header + std::size_t{8} * header.scalarInputCount
                                   + header.structInputSize;
        args->scalarOutputCount = header.scalarOutputCount;
        if (header.scalarOutputCount != 0) {
            const std::size_t bytes = std::size_t{8} * header.scalarOutputCount;
            copyBytes(args->scalarOutput, out, bytes);
            out += bytes;
        }
        args->structOutputSize = header.structOutputSize;
        if (header.structOutputSize != 0)
            copyBytes(args->structOutput, out, header.structOutputSize);
        return 0;
    }
    static int transferLongBlock(int fd, int req, IoctlArguments* args);
};

#endif
