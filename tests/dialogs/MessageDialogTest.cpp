// The informational dialog and its three fixed messages.
#include "DialogTestSupport.h"
#include "MessageDialog.h"

#include <QHBoxLayout>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QSpacerItem>
#include <QTest>
#include <QTranslator>
#include <QVBoxLayout>

#include <algorithm>

using namespace DialogTest;

namespace {

const char kUpToDate[] =
    "<b>All firmware is up to date!</b><br/><br/>The software on your devices is up to date.";
const char kRebootRequired[] =
    "<b>Please Power Cycle</b><br/><br/>The software on your device was updated successfully. "
    "Please reboot to complete the process.";
const char kUpdateError[] =
    "<b>The Vantorix software could not be upgraded.</b><br/><br/>An error has occurred that has "
    "prevented the software on your Vantorix device from being upgraded.  Try restarting your "
    "computer and upgrading the software again.";

// What one Display call showed before the test pressed OK.
struct Shown {
    QString text;
    QString title;
    QSize size;
    bool okWasDefault = false;
    bool modal = false;
};

// Runs a static Display function; the shown dialog is read and then closed
// with its OK button.
Shown display(void (*displayFunction)())
{
    Shown shown;
    bool closed = false;
    whenModal<MessageDialog>([&shown, &closed](MessageDialog* dialog) {
        shown.text = messageLabel(*dialog)->text();
        shown.title = dialog->windowTitle();
        shown.size = dialog->size();
        shown.modal = dialog->isModal();
        QPushButton* ok = button(*dialog, "OK");
        shown.okWasDefault = ok && ok->isDefault();
        if (ok) {
            QTest::mouseClick(ok, Qt::LeftButton);
            closed = true;
        }
    });
    displayFunction();
    if (!closed)
        shown.text = "(not closed with OK)";
    return shown;
}

}

class MessageDialogTest : public QObject {
    Q_OBJECT

private slots:
    void showsTheGivenTextAsWrappedRichText()
    {
        MessageDialog dialog("<b>Title</b><br/>Body");
        QLabel* label = messageLabel(dialog);
        QVERIFY(label);
        QCOMPARE(label->text(), QString("<b>Title</b><br/>Body"));
        QCOMPARE(label->textFormat(), Qt::RichText);
        QVERIFY(label->wordWrap());
        QCOMPARE(renderedText(label), QString("Title") + QChar(0x2028) + "Body");
    }

    void iconIsTheEmbeddedCard()
    {
        MessageDialog dialog("x");
        QLabel* icon = iconLabel(dialog);
        QVERIFY(icon);
        QCOMPARE(icon->pixmap(Qt::ReturnByValue).size(), QSize(80, 80));
        QVERIFY(icon->pixmap(Qt::ReturnByValue).hasAlphaChannel());
    }

    void layoutIsIconTextThenStretchSpacingAndOkOnTheRight()
    {
        MessageDialog dialog("x");
        auto* column = qobject_cast<QVBoxLayout*>(dialog.layout());
        QVERIFY(column);
        QCOMPARE(column->count(), 4);
        QBoxLayout* top = itemLayout(column, 0);
        QVERIFY(qobject_cast<QHBoxLayout*>(top));
        QCOMPARE(itemWidget<QLabel>(top, 0), iconLabel(dialog));
        QCOMPARE(itemWidget<QLabel>(top, 1), messageLabel(dialog));
        QCOMPARE(top->stretch(1), 1);
        QVERIFY(column->itemAt(1)->spacerItem());
        QCOMPARE(column->stretch(1), 1);
        QVERIFY(column->itemAt(2)->spacerItem());
        QCOMPARE(column->itemAt(2)->spacerItem()->sizeHint().height(), 6);
        QBoxLayout* buttons = itemLayout(column, 3);
        QVERIFY(qobject_cast<QHBoxLayout*>(buttons));
        QCOMPARE(buttons->count(), 2);
        QVERIFY(buttons->itemAt(0)->spacerItem());
        QCOMPARE(buttons->stretch(0), 1);
        QCOMPARE(itemWidget<QPushButton>(buttons, 1), button(dialog, "OK"));
        QCOMPARE(dialog.findChildren<QPushButton*>().size(), 1);
    }

    void okIsTheDefaultButton()
    {
        MessageDialog dialog("x");
        QPushButton* ok = button(dialog, "OK");
        QVERIFY(ok);
        QVERIFY(ok->isDefault());
    }

    void sizeIsFixedAt540By150AndFlagsAsThePrompt()
    {
        MessageDialog dialog("x");
        QCOMPARE(dialog.minimumSize(), QSize(540, 150));
        QCOMPARE(dialog.maximumSize(), QSize(540, 150));
        QVERIFY(!dialog.isSizeGripEnabled());
        QCOMPARE(dialog.windowFlags(), flagsQtKeepsFor(0x8004003));
        QCOMPARE(int(dialog.windowFlags()), 0x8004003 | kQtAddedFlags);
        QCOMPARE(dialog.windowTitle(), QString("Vantorix Software Update"));
        QVERIFY(!dialog.parent());
    }

    void metaObjectDeclaresNoSignalsOrSlots()
    {
        const QMetaObject* meta = &MessageDialog::staticMetaObject;
        QCOMPARE(meta->superClass(), &QDialog::staticMetaObject);
        QCOMPARE(meta->methodCount() - meta->methodOffset(), 0);
        QCOMPARE(QByteArray(meta->className()), QByteArray("MessageDialog"));
    }

    void longErrorTextWrapsInsideAFixedDialog()
    {
        MessageDialog dialog(kUpdateError);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QCOMPARE(dialog.size(), QSize(540, 150));
        QLabel* label = messageLabel(dialog);
        QVERIFY(label->geometry().right() < dialog.width());
        // Three lines or more at the label's width.
        QVERIFY(label->heightForWidth(label->width()) >= 3 * label->fontMetrics().height());
        QVERIFY(label->fontMetrics().horizontalAdvance(label->text()) > label->width());
    }

    void returnAcceptsThroughOk()
    {
        MessageDialog dialog("x");
        QSignalSpy okClicked(button(dialog, "OK"), SIGNAL(clicked(bool)));
        const int result = execWith(dialog, [&dialog]() { QTest::keyClick(&dialog, Qt::Key_Return); });
        QCOMPARE(result, int(QDialog::Accepted));
        QCOMPARE(okClicked.count(), 1);
    }

    void enterOnTheKeypadAcceptsThroughOk()
    {
        MessageDialog dialog("x");
        QSignalSpy okClicked(button(dialog, "OK"), SIGNAL(clicked(bool)));
        const int result = execWith(dialog, [&dialog]() {
            QTest::keyClick(&dialog, Qt::Key_Enter, Qt::KeypadModifier);
        });
        QCOMPARE(result, 1);
        QCOMPARE(okClicked.count(), 1);
    }

    void okClickAccepts()
    {
        MessageDialog dialog("x");
        const int result = execWith(dialog, [&dialog]() {
            QTest::mouseClick(button(dialog, "OK"), Qt::LeftButton);
        });
        QCOMPARE(result, 1);
    }

    void closedFromTheTitleBarEndsTheDialog()
    {
        MessageDialog dialog("x");
        const int result = execWith(dialog, [&dialog]() { closeFromWindowManager(dialog); });
        QCOMPARE(result, 0);
        QVERIFY(!dialog.isVisible());
    }

    void upToDateMessageIsShownModally()
    {
        const Shown shown = display(&MessageDialog::DisplayUpToDateMessage);
        QCOMPARE(shown.text, QString(kUpToDate));
        QCOMPARE(shown.title, QString("Vantorix Software Update"));
        QCOMPARE(shown.size, QSize(540, 150));
        QVERIFY(shown.okWasDefault);
        QVERIFY(shown.modal);
    }

    void rebootRequiredMessageIsShown()
    {
        QCOMPARE(display(&MessageDialog::DisplayRebootRequiredMessage).text, QString(kRebootRequired));
    }

    void updateErrorMessageKeepsTwoBlanksAfterUpgraded()
    {
        const Shown shown = display(&MessageDialog::DisplayUpdateErrorMessage);
        QCOMPARE(shown.text, QString(kUpdateError));
        QVERIFY(shown.text.contains("from being upgraded.  Try restarting"));
    }

    void displayReturnsAfterAWindowManagerClose()
    {
        bool closed = false;
        whenModal<MessageDialog>([&closed](MessageDialog* dialog) {
            closeFromWindowManager(*dialog);
            closed = true;
        });
        MessageDialog::DisplayUpToDateMessage();
        QVERIFY(closed);
    }

    void displayDeletesItsDialog()
    {
        QPointer<MessageDialog> seen;
        whenModal<MessageDialog>([&seen](MessageDialog* dialog) {
            seen = dialog;
            dialog->accept();
        });
        MessageDialog::DisplayRebootRequiredMessage();
        QVERIFY(seen.isNull());
        QVERIFY(QApplication::topLevelWidgets().isEmpty()
                || std::none_of(QApplication::topLevelWidgets().begin(),
                                QApplication::topLevelWidgets().end(),
                                [](QWidget* w) { return qobject_cast<MessageDialog*>(w); }));
    }

    void displayTextsAreNotTranslated()
    {
        // A translator that would change every text it is asked for.
        class Shouting : public QTranslator {
        public:
            bool isEmpty() const override { return false; }
            QString translate(const char*, const char* source, const char*, int) const override
            {
                return QString::fromUtf8(source).toUpper();
            }
        } shouting;
        QCoreApplication::installTranslator(&shouting);
        Shown shown;
        bool closed = false;
        whenModal<MessageDialog>([&shown, &closed](MessageDialog* dialog) {
            shown.text = messageLabel(*dialog)->text();
            shown.title = dialog->windowTitle();
            dialog->accept();
            closed = true;
        });
        MessageDialog::DisplayUpToDateMessage();
        QCoreApplication::removeTranslator(&shouting);
        QVERIFY(closed);
        QCOMPARE(shown.text, QString(kUpToDate));
        QCOMPARE(shown.title, QString("VANTORIX SOFTWARE UPDATE"));  // the title is translated
    }
};

QTEST_MAIN(MessageDialogTest)
#include "MessageDialogTest.moc"
