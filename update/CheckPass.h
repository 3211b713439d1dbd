// The program's two ways of working: one pass over the cards present
// (normal mode), or checking cards as they arrive (daemon mode).
#ifndef VANTORIX_CHECK_PASS_H
#define VANTORIX_CHECK_PASS_H

#include "QuorvaleDiscovery.h"

class QApplication;
class UpdateManager;

namespace CheckPass {

// Offers an update for every card that needs one, then one closing message.
// 1 when the cards cannot be enumerated; otherwise 0, update errors included.
int runNormalMode(UpdateManager& updateManager, bool quiet);

// Stores the arrival callback's handle in `notificationHandle`, runs the event
// loop until something quits it, removes the callback and returns the loop's
// result; 1 when the callback cannot be installed.
int runDaemonMode(QApplication& application, UpdateManager& updateManager,
                  QuorvaleNotificationHandle*& notificationHandle);

}  // namespace CheckPass

#endif
