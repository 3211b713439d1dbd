#include "CardAnnouncer.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "QuorvaleAccess.h"
#include "QuorvaleInstanceRec.h"

namespace {

const char kDeviceDirectory[] = "/dev/vantorix";
const char kDevicePrefix[] = "/dev/vantorix/";
const unsigned kCardMajor = 10;

bool inDeviceDirectory(const char* path)
{
    return path != nullptr && strncmp(path, kDevicePrefix, sizeof kDevicePrefix - 1) == 0;
}

// The same test as the enumeration's: anything else in the directory is
// never a card, whatever it answers.
bool isCardNode(const char* path)
{
    struct stat status;
    return stat(path, &status) == 0 && S_ISCHR(status.st_mode) && major(status.st_rdev) == kCardMajor;
}

bool contains(const std::vector<QuorvaleDeviceNode>& names, const QuorvaleDeviceNode& name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

CardAnnouncer::CardAnnouncer(QuorvaleDeviceDiscoveryNotifier& notifier) : m_notifier(notifier) {}

bool CardAnnouncer::openedName(const char* path, QuorvaleDeviceNode& name)
{
    QuorvaleDeviceNode node{};
    if (!inDeviceDirectory(path) || !isCardNode(path) || !node.fromPath(path))
        return false;
    QuorvaleInstanceRec* device = QuorvaleOpenDevice(&node);
    if (device == nullptr)
        return false;
    name = QuorvaleDeviceNode{};
    const bool named = name.fromInstance(device);
    CloseDriverConnectionCore(device);
    return named;
}

bool CardAnnouncer::removedName(const char* path, QuorvaleDeviceNode& name)
{
    QuorvaleDeviceNode node{};
    if (!inDeviceDirectory(path) || !node.fromPath(path) || node.driverName() == nullptr)
        return false;
    // What an open of the node would have put in the record, and no more:
    // the name then comes from the library's own rule.
    QuorvaleInstanceRec opened{};
    opened.unitNumber = node.unitNumber;
    opened.driverName = node.driverName();
    name = QuorvaleDeviceNode{};
    return name.fromInstance(&opened);
}

bool CardAnnouncer::arrived(const char* path, Announcement* announcement)
{
    QuorvaleDeviceNode name{};
    if (!openedName(path, name) || !m_notifier.notify(&name, true))
        return false;
    if (announcement != nullptr)
        *announcement = {true, name};
    return true;
}

bool CardAnnouncer::removed(const char* path, Announcement* announcement)
{
    QuorvaleDeviceNode name{};
    if (!removedName(path, name) || !m_notifier.notify(&name, false))
        return false;
    if (announcement != nullptr)
        *announcement = {false, name};
    return true;
}

std::vector<CardAnnouncer::Announcement> CardAnnouncer::reconcile()
{
    std::vector<QuorvaleDeviceNode> present;
    if (DIR* directory = opendir(kDeviceDirectory)) {
        while (const dirent* entry = readdir(directory)) {
            const std::string path = std::string(kDevicePrefix) + entry->d_name;
            QuorvaleDeviceNode name{};
            if (openedName(path.c_str(), name) && !contains(present, name))
                present.push_back(name);
        }
        closedir(directory);
    }
    std::sort(present.begin(), present.end());

    uint64_t presence[kDiscoveryPresenceMasks];
    m_notifier.lock();
    memcpy(presence, &m_notifier.shared->presence, sizeof presence);
    m_notifier.unlock();

    std::vector<Announcement> announced;
    for (const QuorvaleDeviceNode& name : present) {
        const int driverIndex = name.driverNameIndex();
        const unsigned bit = unsigned(driverIndex) * kDiscoveryUnitsPerMask + name.unitNumber;
        const bool known = driverIndex >= 0 && bit < kDiscoveryPresenceBits
                           && (presence[bit / kDiscoveryUnitsPerMask] >> (bit % kDiscoveryUnitsPerMask) & 1) != 0;
        if (!known && m_notifier.notify(&name, true))
            announced.push_back({true, name});
    }
    for (unsigned bit = 0; bit < kDiscoveryPresenceBits; ++bit) {
        if ((presence[bit / kDiscoveryUnitsPerMask] >> (bit % kDiscoveryUnitsPerMask) & 1) == 0)
            continue;
        QuorvaleDeviceNode name{};
        strncpy(name.namePrefix, QuorvaleDeviceNode::driverNameByIndex(int(bit / kDiscoveryUnitsPerMask)),
                sizeof name.namePrefix - 1);
        name.unitNumber = uint8_t(bit % kDiscoveryUnitsPerMask);
        if (!contains(present, name) && m_notifier.notify(&name, false))
            announced.push_back({false, name});
    }
    return announced;
}
