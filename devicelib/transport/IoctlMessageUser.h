// The per-device transport: typed requests become one ioctl carrying one
// self-describing argument block. The virtual order is the dispatch order the
// narrow wrappers rely on: they call through the table, so a derived class
// that overrides call() or the wide operations sees all traffic.
#ifndef QUORVALE_IOCTL_MESSAGE_USER_H
#define QUORVALE_IOCTL_MESSAGE_USER_H

#include <cstddef>
#include <cstdint>
#include <cstring>

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

    int fd;  // not owned: the device record closes it
};

#endif
