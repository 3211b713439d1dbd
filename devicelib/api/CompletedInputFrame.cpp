// The next captured frame: the driver's 160-byte record, then three fix-ups
// of the picture the library does on the driver's behalf.
#include <sys/ioctl.h>

#include <cstring>

#include "QuorvaleVideoAudio.h"
#include "CallShapes.h"

using namespace quorvale;

namespace {

// Addresses travel as 64-bit words; this process's own buffers fit a pointer.
unsigned char* bytesAt(uint64_t address)
{
    return reinterpret_cast<unsigned char*>(static_cast<uintptr_t>(address));
}

// Byte offsets are computed wide so that large frames do not wrap.
std::size_t rows(uint64_t count, uint32_t rowBytes)
{
    return static_cast<std::size_t>(count * rowBytes);
}

// A second field captured into a buffer of its own: its lines sit on the
// rows they belong to (every other row, from row 0, or from row 1 when the
// flag says so), and are copied there into the picture.
void mergeSecondField(const QuorvaleCompletedInputFrameRec& frame)
{
    const uint32_t first = (frame.flags & kQuorvaleSecondFieldOnSecondRow) != 0 ? 1 : 0;
    unsigned char* to = bytesAt(frame.frameBuffer) + rows(first, frame.rowBytes);
    const unsigned char* from = bytesAt(frame.secondFieldBuffer) + rows(first, frame.rowBytes);
    for (uint32_t line = 0; line < frame.height / 2; ++line) {
        std::memcpy(to, from, frame.rowBytes);
        to += rows(2, frame.rowBytes);
        from += rows(2, frame.rowBytes);
    }
}

// The three line ranges of the ancillary area the driver leaves to be
// blanked, in the ancillary area's own format.
void blankAncillary(const QuorvaleCompletedInputFrameRec& frame, unsigned char* ancillary)
{
    const struct {
        uint64_t firstLine;
        uint32_t count;
    } ranges[] = {
        {0, frame.firstBlankCount},
        {frame.firstBlankOffset, frame.secondBlankCount},
        {uint64_t{frame.firstBlankOffset} + frame.secondBlankOffset, frame.thirdBlankCount},
    };
    for (const auto& range : ranges) {
        BlackOutBuffer(ancillary + rows(range.firstLine, frame.ancillaryRowBytes),
                       range.count * frame.ancillaryRowBytes,
                       frame.ancillaryPixelFormat);
    }
}

// When picture and ancillary area share a format, up to three ancillary
// lines (a negative index names none) replace the first three picture rows.
void copyAncillaryLines(const QuorvaleCompletedInputFrameRec& frame)
{
    if (frame.pixelFormat != frame.ancillaryPixelFormat)
        return;
    unsigned char* picture = bytesAt(frame.frameBuffer);
    for (uint32_t row = 0; row < 3; ++row) {
        const int16_t index = frame.lineIndex[row];
        if (index < 0)
            continue;
        std::memcpy(picture + rows(row, frame.rowBytes),
                    picture + rows(uint64_t{static_cast<uint16_t>(index)} + frame.height, frame.rowBytes),
                    frame.rowBytes);
    }
}

void storeTimecode(const QuorvaleCompletedInputFrameRec& frame, uint32_t* timecode)
{
    if (timecode != nullptr)
        std::memcpy(timecode, frame.timecode, sizeof frame.timecode);
}

void storeAncillary(const QuorvaleCompletedInputFrameRec& frame, unsigned char* data,
                    QuorvaleAncillaryDescription* ancillary)
{
    if (ancillary == nullptr)
        return;
    *ancillary = {data,
                  frame.ancillaryRowBytes,
                  frame.ancillaryPixelFormat,
                  frame.ancillaryLineCount,
                  frame.firstBlankCount,
                  frame.firstBlankOffset,
                  frame.secondBlankCount,
                  frame.secondBlankOffset,
                  frame.thirdBlankCount};
}

}  // namespace

int HardwareGetCompletedInputFrame(QuorvaleInstanceRec* rec, void** frameBuffer,
                                   uint32_t* frameIndex, uint32_t* flags, uint32_t* displayMode,
                                   uint32_t* pixelFormat, uint32_t* rowBytes, uint32_t* height,
                                   uint32_t timecode[6], uint64_t* streamTime,
                                   uint64_t* hardwareTime, QuorvaleAncillaryDescription* ancillary)
{
    QuorvaleCompletedInputFrameRec frame{};
    const int status = withTransport(rec, [&](IoctlMessageUser& t) {
        unsigned size = sizeof frame;
        return t.readStruct(req::HardwareGetCompletedInputFrame, &frame, &size);
    });
    if (status != 0)
        return status;

    unsigned char* pastPicture = bytesAt(frame.frameBuffer + rows(frame.height, frame.rowBytes));
    if (frameBuffer != nullptr)
        *frameBuffer = bytesAt(frame.frameBuffer);
    storeScalar(frame.frameIndex, frameIndex);
    storeScalar(frame.flags, flags);
    storeScalar(frame.displayMode, displayMode);
    storeScalar(frame.pixelFormat, pixelFormat);
    storeScalar(frame.rowBytes, rowBytes);
    storeScalar(frame.height, height);
    storeTimecode(frame, timecode);
    storeScalar(frame.streamTime, streamTime);
    storeScalar(frame.hardwareTime, hardwareTime);
    storeAncillary(frame, pastPicture, ancillary);

    // The driver hears back whenever it named a second-field buffer, even
    // when the height left no row to merge; it gets the record it sent.
    if (frame.secondFieldBuffer != 0) {
        mergeSecondField(frame);
        ioctl(rec->fd, req::SecondFieldMerged, &frame);
    }
    blankAncillary(frame, pastPicture);
    copyAncillaryLines(frame);
    return kQuorvaleSuccess;
}
