#include "UpdateManager.h"

#include <cstdlib>

#include "CheckUpdateDialog.h"
#include "MessageDialog.h"
#include "Quorvale.h"
#include "UpdateProgressDialog.h"

namespace {

enum { kDevicePathBufferSize = 64 };

// Results of CheckUpdateDialog::exec().
enum { kPromptUpdateNow = 1, kPromptIgnoreVersion = 2 };

}  // namespace

UpdateManager::UpdateManager()
    : QObject(nullptr), versionTool(GetUpdaterPath()), queueMutex(), updateRunning(false)
{
    // runUpdate() is emitted on the listener thread while the manager lives on
    // the GUI thread, so the automatic type queues the slot onto the GUI thread.
    connect(this, SIGNAL(runUpdate()), this, SLOT(runUpdateSlot()));
}

QString UpdateManager::GetUpdaterPath()
{
    const QString path = QString::fromLocal8Bit(getenv("VANTORIX_FIRMWARE_UPDATER_PATH"));
    if (!path.isEmpty())
        return path;
    return QStringLiteral("/usr/bin/VantorixFirmwareUpdater");
}

bool UpdateManager::checkForUpdate(QuorvaleInstanceRec* instance, Device& device)
{
    char path[kDevicePathBufferSize];
    if (!GetDevicePath(instance, path))
        return false;
    versionTool.checkDevice(path, device);
    return device.updateRequired;
}

int UpdateManager::update(const Device& device)
{
    CheckUpdateDialog* prompt = new CheckUpdateDialog(device);
    const int answer = prompt->exec();
    if (answer == kPromptIgnoreVersion)
        versionTool.disableVersionCheck(device);  // the updater remembers it
    delete prompt;
    if (answer != kPromptUpdateNow)
        return 0;

    UpdateProgressDialog* progress = new UpdateProgressDialog(device);
    connect(&versionTool, SIGNAL(updateProgress(double)), progress, SLOT(updateProgress(double)));
    connect(&versionTool, SIGNAL(updateComplete(bool)), progress, SLOT(updateComplete(bool)));
    versionTool.updateFirmware(device);
    const int outcome = progress->exec();
    disconnect(&versionTool, SIGNAL(updateProgress(double)), progress, SLOT(updateProgress(double)));
    disconnect(&versionTool, SIGNAL(updateComplete(bool)), progress, SLOT(updateComplete(bool)));
    delete progress;
    return outcome == 0 ? -1 : 1;
}

void UpdateManager::DeviceArrived(QuorvaleInstanceRec* instance, void* context)
{
    static_cast<UpdateManager*>(context)->deviceArrived(instance);
}

void UpdateManager::deviceArrived(QuorvaleInstanceRec* instance)
{
    Device device;
    char path[kDevicePathBufferSize];
    if (GetDevicePath(instance, path)) {
        versionTool.checkDevice(path, device);
        if (device.updateRequired) {
            queueMutex.lock();
            bool queued = false;
            for (int i = deviceQueue.size() - 1; i >= 0 && !queued; --i) {
                const Device& waiting = deviceQueue.at(i);
                queued = waiting.devicePath == device.devicePath
                         && waiting.statusFlags == device.statusFlags;
            }
            if (!queued) {
                deviceQueue.append(device);
                emit runUpdate();
            }
            queueMutex.unlock();
        }
    }
    // The listener hands the opened card over to us.
    CloseDriverConnectionCore(instance);
}

void UpdateManager::runUpdateSlot()
{
    queueMutex.lock();
    if (updateRunning) {
        // A drain further up this thread's stack, waiting in a modal dialog,
        // will pick the new entry up.
        queueMutex.unlock();
        return;
    }
    updateRunning = true;
    bool updateApplied = false;
    while (!deviceQueue.isEmpty()) {
        const Device device = deviceQueue.takeFirst();
        // Arrivals keep being queued while the dialogs run.
        queueMutex.unlock();
        const int result = update(device);
        if (result < 0) {
            // Deliberately final: updateRunning stays set (and the mutex
            // unlocked), so no further prompt appears until a restart, and
            // cards updated earlier in this drain get no power-cycle message.
            MessageDialog::DisplayUpdateErrorMessage();
            return;
        }
        if (result > 0)
            updateApplied = true;
        queueMutex.lock();
    }
    updateRunning = false;
    // Shown with the mutex held: an arrival in this moment waits for the user.
    if (updateApplied)
        MessageDialog::DisplayRebootRequiredMessage();
    queueMutex.unlock();
}
