#include "MessageDialog.h"

#include "DialogFrame.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

MessageDialog::MessageDialog(const QString& text)
    : QDialog()
{
    QLabel* message = DialogFrame::messageLabel(text, this);
    QLabel* icon = DialogFrame::iconLabel(this);
    QHBoxLayout* top = DialogFrame::topRow(icon, message);

    QPushButton* ok = new QPushButton(tr("OK"), this);
    ok->setDefault(true);
    connect(ok, SIGNAL(clicked(bool)), this, SLOT(accept()));

    QHBoxLayout* buttons = new QHBoxLayout();
    buttons->addStretch(1);
    buttons->addWidget(ok);

    DialogFrame::finish(this, top, buttons);
    setWindowTitle(tr("Vantorix Software Update"));
}

// The messages are fixed product texts; they are not translated.
void MessageDialog::DisplayUpToDateMessage()
{
    display("<b>All firmware is up to date!</b><br/><br/>"
            "The software on your devices is up to date.");
}

void MessageDialog::DisplayRebootRequiredMessage()
{
    display("<b>Please Power Cycle</b><br/><br/>"
            "The software on your device was updated successfully. "
            "Please reboot to complete the process.");
}

void MessageDialog::DisplayUpdateErrorMessage()
{
    display("<b>The Vantorix software could not be upgraded.</b><br/><br/>"
            "An error has occurred that has prevented the software on your Vantorix "
            "device from being upgraded.  Try restarting your computer and upgrading "
            "the software again.");
}

void MessageDialog::display(const char* text)
{
    const QString message = QString::fromUtf8(text);
    MessageDialog* dialog = new MessageDialog(message);
    dialog->exec();
    delete dialog;
}
