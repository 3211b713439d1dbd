#include "IoctlMessageUser.h"

#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "QuorvaleTypes.h"
#include "VantorixIOIoctlMessageUser.h"

namespace {

// The single-result wrappers: one 64-bit value, zero until the driver
// answers, converted into the caller's type only on success.
template <typename Out, typename Read, typename Convert>
int oneScalar(Read&& read, Out* out, Convert convert)
{
    unsigned long long value = 0;
    const int status = read(&value);
    if (status == 0)
        *out = convert(value);
    return status;
}

bool nonZero(unsigned long long value)
{
    return value != 0;
}

unsigned int lowWord(unsigned long long value)
{
    return static_cast<unsigned int>(value);
}

// A truth value, not the low byte: drivers answer these with any non-zero word.
unsigned char truthByte(unsigned long long value)
{
    return value != 0 ? 1 : 0;
}

}  // namespace

IoctlMessageUser::IoctlMessageUser(int descriptor) : fd(descriptor) {}

IoctlMessageUser::~IoctlMessageUser() = default;

void* IoctlMessageUser::mapMemory(unsigned pageIndex, unsigned length, bool writable)
{
    const off_t offset = static_cast<off_t>(pageIndex) * getpagesize();
    void* address = mmap(nullptr, length, writable ? PROT_READ | PROT_WRITE : PROT_READ,
                         MAP_PRIVATE, fd, offset);
    return address == MAP_FAILED ? nullptr : address;
}

int IoctlMessageUser::call(int req)
{
    IoctlArguments args{};
    return call(req, &args);
}

// A block longer than the fixed buffer: sized exactly by the request, up to
// the ceiling, on a frame of its own so that the short requests keep a frame
// of fixed size. Stack use is the block length, capped at kMaxBlockLength;
// the library's own requests stay far below a page (a 1064-byte buffer
// message in and out is 2144 bytes), and callers that pass their own sizes
// (completed frames, flushed input frames, notifications) get exactly what
// they offered up to that ceiling.
__attribute__((noinline)) int IoctlMessageUser::transferLongBlock(int fd, int req, IoctlArguments* args)
{
    const uint64_t fullLength = blockLength(*args);
    if (fullLength > kMaxBlockLength)
        return kQuorvaleBadArgument;
    // The builtin takes its alignment in bits.
    auto* block = static_cast<unsigned char*>(__builtin_alloca_with_align(std::size_t(fullLength),
                                                                          8 * kBlockAlignment));
    return exchange(fd, req, args, block);
}

int IoctlMessageUser::call(int req, IoctlArguments* args)
{
    return transfer(fd, req, args);
}

int IoctlMessageUser::readScalar(int req, unsigned long long* out, unsigned count)
{
    return writeScalarReadScalar(req, nullptr, 0, out, count);
}

int IoctlMessageUser::readScalar(int req, bool* out)
{
    return oneScalar([&](unsigned long long* v) { return readScalar(req, v, 1); }, out, nonZero);
}

int IoctlMessageUser::readScalar(int req, unsigned int* out)
{
    return oneScalar([&](unsigned long long* v) { return readScalar(req, v, 1); }, out, lowWord);
}

int IoctlMessageUser::readScalar(int req, unsigned char* out)
{
    return oneScalar([&](unsigned long long* v) { return readScalar(req, v, 1); }, out, truthByte);
}

int IoctlMessageUser::readStruct(int req, void* out, unsigned* inOutSize)
{
    return writeScalarReadStruct(req, nullptr, 0, out, inOutSize);
}

int IoctlMessageUser::writeScalar(int req, const unsigned long long* in, unsigned count)
{
    return writeScalarReadScalar(req, in, count, nullptr, 0);
}

int IoctlMessageUser::writeScalar(int req, bool v)
{
    const unsigned long long value = v ? 1 : 0;
    return writeScalar(req, &value, 1);
}

int IoctlMessageUser::writeScalar(int req, unsigned int v)
{
    const unsigned long long value = v;
    return writeScalar(req, &value, 1);
}

int IoctlMessageUser::writeScalar(int req, unsigned char v)
{
    const unsigned long long value = v;
    return writeScalar(req, &value, 1);
}

int IoctlMessageUser::writeStruct(int req, const void* in, unsigned size)
{
    return writeStructReadScalar(req, in, size, nullptr, 0);
}

int IoctlMessageUser::writeScalarReadScalar(int req, unsigned int in, unsigned int* out)
{
    const unsigned long long input = in;
    return oneScalar([&](unsigned long long* v) { return writeScalarReadScalar(req, &input, 1, v, 1); },
                     out, lowWord);
}

int IoctlMessageUser::writeScalarReadScalar(int req, unsigned int in, unsigned char* out)
{
    const unsigned long long input = in;
    return oneScalar([&](unsigned long long* v) { return writeScalarReadScalar(req, &input, 1, v, 1); },
                     out, truthByte);
}

int IoctlMessageUser::writeScalarReadScalar(int req, const unsigned long long* in, unsigned inCount,
                                            unsigned long long* out, unsigned outCount)
{
    IoctlArguments args{};
    args.scalarInputCount = inCount;
    args.scalarOutputCount = outCount;
    args.scalarInput = reinterpret_cast<const uint64_t*>(in);
    args.scalarOutput = reinterpret_cast<uint64_t*>(out);
    return call(req, &args);
}

int IoctlMessageUser::writeScalarReadStruct(int req, const unsigned long long* in, unsigned inCount,
                                            void* out, unsigned* inOutSize)
{
    IoctlArguments args{};
    args.scalarInputCount = inCount;
    args.structOutputSize = *inOutSize;
    args.scalarInput = reinterpret_cast<const uint64_t*>(in);
    args.structOutput = out;
    const int status = call(req, &args);
    if (status == 0)
        *inOutSize = args.structOutputSize;
    return status;
}

int IoctlMessageUser::writeStructReadStruct(int req, const void* in, unsigned inSize, void* out,
                                            unsigned* inOutSize)
{
    IoctlArguments args{};
    args.structInputSize = inSize;
    args.structOutputSize = *inOutSize;
    args.structInput = in;
    args.structOutput = out;
    const int status = call(req, &args);
    if (status == 0)
        *inOutSize = args.structOutputSize;
    return status;
}

int IoctlMessageUser::writeStructReadScalar(int req, const void* in, unsigned inSize,
                                            unsigned long long* out, unsigned outCount)
{
    IoctlArguments args{};
    args.structInputSize = inSize;
    args.scalarOutputCount = outCount;
    args.structInput = in;
    args.scalarOutput = reinterpret_cast<uint64_t*>(out);
    return call(req, &args);
}

int IoctlMessageUser::writeScalarWriteStruct(int req, const unsigned long long* in, unsigned inCount,
                                             const void* s, unsigned size)
{
    IoctlArguments args{};
    args.scalarInputCount = inCount;
    args.structInputSize = size;
    args.scalarInput = reinterpret_cast<const uint64_t*>(in);
    args.structInput = s;
    return call(req, &args);
}

// The legacy driver has no message request.
int IoctlMessageUser::sendMessage(_VantorixIOMessageRequest*)
{
    return kQuorvaleMessagesUnsupported;
}

int IoctlMessageUser::sendBufferMessage(_VantorixIOBufferMessageRequest*)
{
    return kQuorvaleMessagesUnsupported;
}

int IoctlMessageUser::interfaceType() const
{
    return 0;
}

// A node of an unknown prefix has no driver name at all: no transport either.
IoctlMessageUser* IoctlMessageUser::createForDriver(int descriptor, const char* driverName)
{
    if (driverName == nullptr)
        return nullptr;
    if (std::strcmp(driverName, "Quorvale") == 0)
        return new IoctlMessageUser(descriptor);
    if (std::strcmp(driverName, "VantorixIO") == 0)
        return new VantorixIOIoctlMessageUser(descriptor);
    return nullptr;
}
