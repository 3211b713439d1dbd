// Shown while the external updater flashes one card: a warning, a percentage
// bar, and the same progress on the desktop launcher icon when available.
#ifndef VANTORIX_UPDATEPROGRESSDIALOG_H
#define VANTORIX_UPDATEPROGRESSDIALOG_H

#include <QDialog>

class QProgressBar;
struct Device;

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

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QProgressBar* m_progressBar = nullptr;
    bool m_updateFinished = false;
    void* m_launcherEntry = nullptr;
};

#endif
