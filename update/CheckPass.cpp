#include "CheckPass.h"

#include <QApplication>

#include "Device.h"
#include "MessageDialog.h"
#include "Quorvale.h"
#include "UpdateManager.h"

namespace CheckPass {

int runNormalMode(UpdateManager& updateManager, bool quiet)
{
    QuorvaleIteratorRec* iterator = CreateQuorvaleIterator();
    if (!iterator)
        return 1;

    bool updateOffered = false;
    bool updateApplied = false;
    QuorvaleInstanceRec* instance = nullptr;
    while (ConnectToDriverCore(&instance, iterator)) {
        Device device;
        if (updateManager.checkForUpdate(instance, device)) {
            const int result = updateManager.update(device);
            if (result < 0) {
                // The card stays connected on purpose: the process ends
                // right after the messages.
                MessageDialog::DisplayUpdateErrorMessage();
                ReleaseQuorvaleIterator(iterator);
                if (updateApplied)
                    MessageDialog::DisplayRebootRequiredMessage();
                return 0;
            }
            updateOffered = true;
            if (result > 0)
                updateApplied = true;
        }
        CloseDriverConnectionCore(instance);
    }
    ReleaseQuorvaleIterator(iterator);

    if (updateOffered || quiet) {
        if (updateApplied)
            MessageDialog::DisplayRebootRequiredMessage();
    } else {
        MessageDialog::DisplayUpToDateMessage();
    }
    return 0;
}

int runDaemonMode(QApplication& application, UpdateManager& updateManager,
                  QuorvaleNotificationHandle*& notificationHandle)
{
    // Cards present at start are replayed as arrivals by the listener, so
    // there is no pass of our own here.
    notificationHandle = InstallQuorvaleNotificationCallback(UpdateManager::DeviceArrived, &updateManager);
    if (!notificationHandle)
        return 1;
    const int result = application.exec();
    RemoveQuorvaleNotificationCallback(notificationHandle);
    return result;
}

}  // namespace CheckPass
