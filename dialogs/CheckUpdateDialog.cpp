#include "CheckUpdateDialog.h"

#include "Device.h"
#include "DialogFrame.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

CheckUpdateDialog::CheckUpdateDialog(const Device& device)
    : QDialog()
{
    // asprintf is the static twin of the deprecated sprintf (same formatter,
    // same UTF-8 reading of %s); the name goes in unescaped on purpose.
    const QString text = QString::asprintf(
        "<b>Software Update Required!</b><br/><br/>Your %s needs a software update. "
        "This update takes only a few minutes, and makes sure you have the latest "
        "features and compatibility. Would you like to update now?",
        device.name.toUtf8().constData());

    QLabel* message = DialogFrame::messageLabel(text, this);
    QLabel* icon = DialogFrame::iconLabel(this);
    QHBoxLayout* top = DialogFrame::topRow(icon, message);

    QPushButton* updateNow = new QPushButton(tr("Update Now"), this);
    connect(updateNow, SIGNAL(clicked(bool)), this, SLOT(accept()));
    QPushButton* dontUpdate = new QPushButton(tr("Don't Update"), this);
    connect(dontUpdate, SIGNAL(clicked(bool)), this, SLOT(cancelClicked()));

    QHBoxLayout* buttons = new QHBoxLayout();
    buttons->addStretch(1);
    buttons->addWidget(dontUpdate);
    buttons->addWidget(updateNow);

    DialogFrame::finish(this, top, buttons);
    setWindowTitle(tr("Vantorix Software Update"));
}

void CheckUpdateDialog::cancelClicked()
{
    // Control held is the hidden "never ask about this version" gesture.
    if (QGuiApplication::keyboardModifiers() & Qt::ControlModifier)
        done(2);
    else
        reject();
}
