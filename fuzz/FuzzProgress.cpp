// The update's progress stream as updateProcessOutput reassembles it, cut
// into arbitrary chunks: each chunk is what one readyRead delivers.
#include <QBuffer>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "UpdaterOutput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    updateroutput::ProgressLine line;
    size_t at = 0;
    while (at < size) {
        // One byte gives the chunk's length, the bytes after it its text.
        const size_t length = std::min<size_t>(data[at] + 1u, size - at - 1);
        ++at;
        QByteArray chunk(reinterpret_cast<const char*>(data + at), int(length));
        at += length;
        QBuffer output(&chunk);
        output.open(QIODevice::ReadOnly);
        updateroutput::readProgressLines(line, output, [](double percent) {
            volatile double seen = percent;
            (void)seen;
        });
        if (line.fill < 0 || line.fill >= updateroutput::ProgressLine::kBufferSize)
            __builtin_trap();
    }
    return 0;
}
