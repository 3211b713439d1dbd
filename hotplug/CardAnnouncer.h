// Posts arrivals and removals of cards into the discovery channel, each under
// the name that the channel's creator records for the card when it
// enumerates: a card present when the channel is made and a card plugged in
// later look the same to every listener.
#ifndef QUORVALE_CARD_ANNOUNCER_H
#define QUORVALE_CARD_ANNOUNCER_H

#include <vector>

#include "QuorvaleDeviceDiscoveryNotifier.h"
#include "QuorvaleDeviceNode.h"

class CardAnnouncer {
public:
    // One announcement, for the caller's log.
    struct Announcement {
        bool arrived;
        QuorvaleDeviceNode name;
    };

    explicit CardAnnouncer(QuorvaleDeviceDiscoveryNotifier& notifier);

    // The name of the card whose node is `path`, when the node is a
    // character device of the card's major number that opens as the library
    // opens it; the library reports an opened device under the first prefix
    // of its driver ("card1" is recorded as "dv1").
    static bool openedName(const char* path, QuorvaleDeviceNode& name);
    // The name that the same rule gives to the node at `path` without
    // opening it (the node of a removed card is gone).
    static bool removedName(const char* path, QuorvaleDeviceNode& name);

    // Announce the node at `path` as arrived or removed. False when the node
    // is no card (not ours, or it does not open); the channel itself drops a
    // repeated arrival or removal.
    bool arrived(const char* path, Announcement* announcement = nullptr);
    bool removed(const char* path, Announcement* announcement = nullptr);

    // Brings the channel in line with /dev/vantorix once: the cards present
    // whose presence bit is clear arrive, the set bits without a card leave.
    std::vector<Announcement> reconcile();

private:
    QuorvaleDeviceDiscoveryNotifier& m_notifier;
};

#endif
