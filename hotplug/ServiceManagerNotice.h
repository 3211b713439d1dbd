// Tells the service manager about the service's state through the datagram
// socket named in $NOTIFY_SOCKET ("READY=1" once the service works), so that
// units ordered after this one start only when cards are being watched.
#ifndef QUORVALE_SERVICE_MANAGER_NOTICE_H
#define QUORVALE_SERVICE_MANAGER_NOTICE_H

class ServiceManagerNotice {
public:
    // Sends `state`; false when no service manager listens (not started by
    // one) or the notice could not be sent. Never blocks.
    static bool send(const char* state);
};

#endif
