#include "UpdateProgressDialog.h"

#include "DialogFrame.h"
#include "LauncherBusEntry.h"
#include "LauncherProgress.h"

#include <QCloseEvent>
#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

#include <climits>
#include <cmath>

namespace {

constexpr QSize kProgressSize(602, 70);
// Qt::Dialog with a minimise button and customised decorations: no close button.
constexpr unsigned kProgressFlags = 0x2004003;

}

int progressBarValue(double percent)
{
    if (std::isnan(percent))
        return 0;
    // Both limits are exact doubles; everything strictly between them
    // truncates into an int.
    if (percent >= 2147483648.0)
        return INT_MAX;
    if (percent <= -2147483649.0)
        return INT_MIN;
    return static_cast<int>(percent);
}

UpdateProgressDialog::UpdateProgressDialog(const Device&)
    : QDialog()
{
    QLabel* warning = new QLabel(
        "WARNING:  Do not shut down or unplug your computer until this update has completed!",
        this);
    warning->setTextFormat(Qt::RichText);

    m_progressBar = new QProgressBar(this);
    m_progressBar->setRange(0, 100);

    QVBoxLayout* column = new QVBoxLayout();
    column->addWidget(warning);
    column->addWidget(m_progressBar);
    setLayout(column);

    DialogFrame::fixWindow(this, kProgressSize, kProgressFlags);
    setWindowTitle(tr("Updating Software..."));

    if (LauncherProgress::load()) {
        m_launcherEntry = LauncherProgress::entry();
        LauncherProgress::setProgressVisible(m_launcherEntry, true);
    } else {
        // No library on this desktop: the launcher still hears of the
        // update, through the signal the library would have sent.
        m_launcherOnBus = LauncherBusEntry::connect();
        if (m_launcherOnBus)
            LauncherBusEntry::setProgressVisible(true);
    }
}

void UpdateProgressDialog::updateProgress(double percent)
{
    // Truncation toward zero: 99.9 shows 99 until the updater says 100.
    m_progressBar->setValue(progressBarValue(percent));
    LauncherProgress::setProgress(m_launcherEntry, percent / 100.0);
    if (m_launcherOnBus)
        LauncherBusEntry::setProgress(percent / 100.0);
}

void UpdateProgressDialog::updateComplete(bool success)
{
    LauncherProgress::setProgressVisible(m_launcherEntry, false);
    LauncherProgress::setUrgent(m_launcherEntry, true);
    if (m_launcherOnBus) {
        LauncherBusEntry::setProgressVisible(false);
        LauncherBusEntry::setUrgent(true);
    }
    m_updateFinished = true;
    done(success ? 1 : 0);
}

void UpdateProgressDialog::reject()
{
    if (m_updateFinished)
        QDialog::reject();
}

void UpdateProgressDialog::closeEvent(QCloseEvent* event)
{
    // Interrupting a flash could leave the card unusable.
    if (m_updateFinished)
        event->accept();
    else
        event->ignore();
}
