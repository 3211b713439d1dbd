// Shown while the external updater flashes one card: a warning, a percentage
// bar, and the same progress on the desktop launcher icon when available
// (through the launcher library, or without it over the session bus).
#ifndef VANTORIX_UPDATEPROGRESSDIALOG_H
#define VANTORIX_UPDATEPROGRESSDIALOG_H

#include <QDialog>

class QProgressBar;
struct Device;

// The bar's value for a percentage as the updater printed it: truncated
// toward zero; past the int range it stops at INT_MIN or INT_MAX (which the
// bar ignores like any other value outside 0 to 100), and "nan" counts as 0,
// like any line that is not a number.
int progressBarValue(double percent);

// exec() gives 1 after a successful update and 0 after a failed one. The
// user cannot close it before updateComplete().
class UpdateProgressDialog : public QDialog {
    Q_OBJECT
public:
    // The device is not shown; taken like the other dialogs take it.
    explicit UpdateProgressDialog(const Device& device);

public slots:
    void updateProgress(double percent);
    void updateComplete(bool success);

public:
    // Escape ends a dialog through reject(); refused while flashing, like a
    // close. Not a slot of its own: the meta-object keeps its two slots.
    void reject() override;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QProgressBar* m_progressBar = nullptr;
    bool m_updateFinished = false;
    void* m_launcherEntry = nullptr;
    // True when no launcher library loaded and the session bus carries our
    // own launcher signals instead.
    bool m_launcherOnBus = false;
};

#endif
