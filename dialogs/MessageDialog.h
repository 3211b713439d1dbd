// The informational dialog that ends a run: icon, rich-text message, "OK".
#ifndef VANTORIX_MESSAGEDIALOG_H
#define VANTORIX_MESSAGEDIALOG_H

#include <QDialog>

class MessageDialog : public QDialog {
    Q_OBJECT
public:
    explicit MessageDialog(const QString& text);

    // Each shows its fixed message modally and returns when it is closed.
    static void DisplayUpToDateMessage();
    static void DisplayRebootRequiredMessage();
    static void DisplayUpdateErrorMessage();

private:
    static void display(const char* text);
};

#endif
