// The transport for the newer driver: callers keep issuing legacy request
// numbers, and each one is either renumbered or packed into the driver's
// generic message request with a four-character code.
#ifndef QUORVALE_VANTORIXIO_IOCTL_MESSAGE_USER_H
#define QUORVALE_VANTORIXIO_IOCTL_MESSAGE_USER_H

#include <cstddef>
#include <cstdint>

#include "IoctlMessageUser.h"
#include "SortedConstantMap.h"

// Four characters as the driver's message code, the first in the most
// significant byte: "gsub" is 0x67737562.
constexpr uint32_t messageCode(const char (&code)[5])
{
    return uint32_t{static_cast<unsigned char>(code[0])} << 24
           | uint32_t{static_cast<unsigned char>(code[1])} << 16
           | uint32_t{static_cast<unsigned char>(code[2])} << 8
           | uint32_t{static_cast<unsigned char>(code[3])};
}

class VantorixIOIoctlMessageUser : public IoctlMessageUser {
public:
    // The newer driver's own request numbers start here; the generic message
    // request is the second of them.
    static constexpr int32_t kFirstNewRequest = 0x90000;
    static constexpr int32_t kMessageRequest = 0x90001;
    static constexpr uint32_t kNoMessage = messageCode("tred");
    static constexpr unsigned kMessageScalars = 4;

    // One legacy request as the newer driver knows it.
    struct Translation {
        int32_t legacy;
        int32_t request;      // kMessageRequest for the message-routed ones
        uint32_t messageCode; // 0 for the renumbered ones
    };
    static const Translation* translationTable(std::size_t* count);

    // 148 legacy requests, of which 114 travel as messages.
    static constexpr std::size_t kTranslationCount = 148;
    static constexpr std::size_t kMessageTranslationCount = 114;
    using IoctlTranslationMap = SortedConstantMap<int32_t, int32_t, kTranslationCount>;
    using MessageTranslationMap = SortedConstantMap<int32_t, uint32_t, kMessageTranslationCount>;

    explicit VantorixIOIoctlMessageUser(int fd);
    ~VantorixIOIoctlMessageUser() override;

    int call(int req, IoctlArguments* args) override;
    using IoctlMessageUser::call;
    int sendMessage(_VantorixIOMessageRequest* request) override;
    int sendBufferMessage(_VantorixIOBufferMessageRequest* request) override;
    int interfaceType() const override;

    // Inline: every request through this transport makes one or two of them.
    int translateIoctl(int legacy) const  // -1 when unknown
    {
        const int32_t* found = ioctlTranslation.find(legacy);
        return found != nullptr ? *found : -1;
    }
    unsigned translateIoctlToMessage(int legacy) const  // "tred" when unknown
    {
        const uint32_t* found = messageTranslation.find(legacy);
        return found != nullptr ? *found : kNoMessage;
    }

    const IoctlTranslationMap& ioctlTranslations() const { return ioctlTranslation; }
    const MessageTranslationMap& messageTranslations() const { return messageTranslation; }

private:
    // Both tables are built at compile time and shared by every transport.
    const IoctlTranslationMap& ioctlTranslation;
    const MessageTranslationMap& messageTranslation;
};

#endif
