// One card as the external updater reports it.
#ifndef VANTORIX_DEVICE_H
#define VANTORIX_DEVICE_H

#include <QString>
#include <cstdint>

struct Device {
    QString name;                 // display name, verbatim from the updater
    bool updateRequired = false;  // nothing is to be done for the card while false
    QString devicePath;           // the updater's identifier, handed back unchanged
    uint8_t statusFlags = 0;
};

#endif
