// The question shown for one card that needs new firmware.
#ifndef VANTORIX_CHECKUPDATEDIALOG_H
#define VANTORIX_CHECKUPDATEDIALOG_H

#include <QDialog>

struct Device;

// exec() gives 1 for "Update Now", 0 for "Don't Update" or a closed window,
// and 2 for "Don't Update" clicked with Control held (stop asking about this
// version).
class CheckUpdateDialog : public QDialog {
    Q_OBJECT
public:
    explicit CheckUpdateDialog(const Device& device);

public slots:
    void cancelClicked();
};

#endif
