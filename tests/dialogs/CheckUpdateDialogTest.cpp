// The update prompt: its exact build, and the three results the update
// manager reads from it.
#include "CheckUpdateDialog.h"
#include "DialogTestSupport.h"
#include "Device.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QSpacerItem>
#include <QTest>
#include <QVBoxLayout>

using namespace DialogTest;

namespace {

const char kPrompt[] =
    "<b>Software Update Required!</b><br/><br/>Your Quorvale 4K Pro needs a software update. "
    "This update takes only a few minutes, and makes sure you have the latest features and "
    "compatibility. Would you like to update now?";

Device card(const QString& name)
{
    Device device;
    device.name = name;
    device.updateRequired = true;
    device.devicePath = "/dev/vantorix/card0";
    return device;
}

}

class CheckUpdateDialogTest : public QObject {
    Q_OBJECT

    // Clicks "Don't Update" (or another button) with the given modifiers,
    // from inside exec(), and returns exec()'s result.
    static int clickWith(const QString& buttonText, Qt::KeyboardModifiers modifiers)
    {
        CheckUpdateDialog dialog(card("Quorvale 4K Pro"));
        QPushButton* target = button(dialog, buttonText);
        if (!target)
            return -1000;
        return execWith(dialog, [target, modifiers]() {
            QTest::mouseClick(target, Qt::LeftButton, modifiers);
        });
    }

private slots:
    void messageIsTheFixedTextWithTheName()
    {
        CheckUpdateDialog dialog(card("Quorvale 4K Pro"));
        QLabel* label = messageLabel(dialog);
        QVERIFY(label);
        QCOMPARE(label->text(), QString::fromUtf8(kPrompt));
        QCOMPARE(label->textFormat(), Qt::RichText);
        QVERIFY(label->wordWrap());
    }

    void nameIsInsertedAsUtf8()
    {
        CheckUpdateDialog dialog(card(QString::fromUtf8("Quorvale \xc3\x9cnit\xc3\xa9 \xe2\x84\xa2")));
        QVERIFY(messageLabel(dialog)->text().contains(
            QString::fromUtf8("Your Quorvale \xc3\x9cnit\xc3\xa9 \xe2\x84\xa2 needs a software update.")));
    }

    void emptyNameLeavesTheSentenceAround()
    {
        CheckUpdateDialog dialog(card(QString()));
        QVERIFY(messageLabel(dialog)->text().contains("Your  needs a software update."));
    }

    void markupInTheNameIsRenderedAsMarkup()
    {
        CheckUpdateDialog dialog(card("<i>Quorvale</i> &amp; Co"));
        QLabel* label = messageLabel(dialog);
        QVERIFY(label->text().contains("Your <i>Quorvale</i> &amp; Co needs"));
        const QString shown = renderedText(label);
        QVERIFY2(shown.contains("Your Quorvale & Co needs a software update."), qPrintable(shown));
        QVERIFY(!shown.contains("<i>"));
        QVERIFY(!shown.contains("<b>"));
        QVERIFY(shown.startsWith("Software Update Required!"));
    }

    void iconIsTheEmbeddedCardAtNaturalSize()
    {
        CheckUpdateDialog dialog(card("Quorvale"));
        QLabel* icon = iconLabel(dialog);
        QVERIFY(icon);
        QCOMPARE(icon->pixmap(Qt::ReturnByValue).size(), QSize(80, 80));
        QCOMPARE(icon->pixmap(Qt::ReturnByValue).toImage(), QPixmap(":/chip80.png").toImage());
        QVERIFY(icon->pixmap(Qt::ReturnByValue).hasAlphaChannel());
        QVERIFY(!icon->hasScaledContents());
    }

    void layoutIsIconTextThenStretchSpacingAndButtons()
    {
        CheckUpdateDialog dialog(card("Quorvale"));
        auto* column = qobject_cast<QVBoxLayout*>(dialog.layout());
        QVERIFY(column);
        QCOMPARE(column->count(), 4);

        QBoxLayout* top = itemLayout(column, 0);
        QVERIFY(qobject_cast<QHBoxLayout*>(top));
        QCOMPARE(top->count(), 2);
        QCOMPARE(itemWidget<QLabel>(top, 0), iconLabel(dialog));
        QCOMPARE(itemWidget<QLabel>(top, 1), messageLabel(dialog));
        QCOMPARE(top->stretch(0), 0);
        QCOMPARE(top->stretch(1), 1);

        QVERIFY(column->itemAt(1)->spacerItem());
        QCOMPARE(column->stretch(1), 1);
        QSpacerItem* spacing = column->itemAt(2)->spacerItem();
        QVERIFY(spacing);
        QCOMPARE(spacing->sizeHint().height(), 6);
        QCOMPARE(column->stretch(2), 0);

        QBoxLayout* buttons = itemLayout(column, 3);
        QVERIFY(qobject_cast<QHBoxLayout*>(buttons));
        QCOMPARE(buttons->count(), 3);
        QVERIFY(buttons->itemAt(0)->spacerItem());
        QCOMPARE(buttons->stretch(0), 1);
        QCOMPARE(itemWidget<QPushButton>(buttons, 1)->text(), QString("Don't Update"));
        QCOMPARE(itemWidget<QPushButton>(buttons, 2)->text(), QString("Update Now"));
    }

    void updateNowIsTheRightmostButtonOnScreen()
    {
        CheckUpdateDialog dialog(card("Quorvale"));
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QPushButton* updateNow = button(dialog, "Update Now");
        QPushButton* dontUpdate = button(dialog, "Don't Update");
        QVERIFY(dontUpdate->geometry().right() < updateNow->geometry().left());
        QVERIFY(updateNow->geometry().right() > dialog.width() - 30);
    }

    void sizeIsFixedAt540By150()
    {
        CheckUpdateDialog dialog(card("Quorvale"));
        QCOMPARE(dialog.minimumSize(), QSize(540, 150));
        QCOMPARE(dialog.maximumSize(), QSize(540, 150));
        QVERIFY(!dialog.isSizeGripEnabled());
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QCOMPARE(dialog.size(), QSize(540, 150));
        dialog.resize(800, 400);
        QCOMPARE(dialog.size(), QSize(540, 150));
    }

    void sizeStaysFixedWithAVeryLongName()
    {
        CheckUpdateDialog dialog(card(QString("Quorvale ").repeated(40)));
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QCOMPARE(dialog.size(), QSize(540, 150));
    }

    void windowFlagsAreDialogMinimiseAndClose()
    {
        CheckUpdateDialog dialog(card("Quorvale"));
        QCOMPARE(Qt::WindowFlags(0x8004003),
                 Qt::Dialog | Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint);
        QCOMPARE(dialog.windowFlags(), flagsQtKeepsFor(0x8004003));
        QCOMPARE(int(dialog.windowFlags()), 0x8004003 | kQtAddedFlags);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QCOMPARE(int(dialog.windowFlags()), 0x8004003 | kQtAddedFlags);
        QVERIFY(dialog.isWindow());
        QVERIFY(!dialog.parent());
    }

    void titleIsTranslatable()
    {
        CheckUpdateDialog dialog(card("Quorvale"));
        QCOMPARE(dialog.windowTitle(), QString("Vantorix Software Update"));
    }

    void metaObjectDeclaresOneSlot()
    {
        const QMetaObject* meta = &CheckUpdateDialog::staticMetaObject;
        QCOMPARE(meta->superClass(), &QDialog::staticMetaObject);
        QCOMPARE(meta->methodCount() - meta->methodOffset(), 1);
        QMetaMethod slot = meta->method(meta->methodOffset());
        QCOMPARE(slot.methodType(), QMetaMethod::Slot);
        QCOMPARE(slot.methodSignature(), QByteArray("cancelClicked()"));
    }

    void noButtonIsMadeDefaultExplicitly()
    {
        CheckUpdateDialog dialog(card("Quorvale"));
        for (QPushButton* b : dialog.findChildren<QPushButton*>()) {
            QVERIFY(!b->isDefault());
            QVERIFY(b->autoDefault());  // Qt's dialog rules: the focused button is default
        }
        QCOMPARE(dialog.findChildren<QPushButton*>().size(), 2);
    }

    void returnActivatesTheFocusedButtonUpdateNow()
    {
        CheckUpdateDialog dialog(card("Quorvale"));
        const int result = execWith(dialog, [&dialog]() {
            QVERIFY(QTest::qWaitForWindowActive(&dialog));
            QWidget* focused = QApplication::focusWidget();
            QCOMPARE(focused, static_cast<QWidget*>(button(dialog, "Update Now")));
            QTest::keyClick(focused, Qt::Key_Return);
        });
        QCOMPARE(result, 1);
    }

    void updateNowReturns1()
    {
        QCOMPARE(clickWith("Update Now", Qt::NoModifier), int(QDialog::Accepted));
    }

    void updateNowWithControlStillReturns1()
    {
        QCOMPARE(clickWith("Update Now", Qt::ControlModifier), 1);
    }

    void dontUpdateReturns0()
    {
        QCOMPARE(clickWith("Don't Update", Qt::NoModifier), int(QDialog::Rejected));
    }

    void dontUpdateWithControlReturns2()
    {
        QCOMPARE(clickWith("Don't Update", Qt::ControlModifier), 2);
    }

    void dontUpdateWithControlAndShiftReturns2()
    {
        QCOMPARE(clickWith("Don't Update", Qt::ControlModifier | Qt::ShiftModifier), 2);
    }

    void dontUpdateWithShiftReturns0()
    {
        QCOMPARE(clickWith("Don't Update", Qt::ShiftModifier), 0);
    }

    void dontUpdateWithAltReturns0()
    {
        QCOMPARE(clickWith("Don't Update", Qt::AltModifier), 0);
    }

    void dontUpdateAfterAControlClickWithoutControlReturns0()
    {
        // The modifiers come from the latest input event, not a sticky state.
        QCOMPARE(clickWith("Don't Update", Qt::ControlModifier), 2);
        QCOMPARE(clickWith("Don't Update", Qt::NoModifier), 0);
    }

    void controlHeldOnTheKeyboardCountsForAKeyboardActivation()
    {
        // The gesture reads the application's modifier state, whatever
        // activated the button.
        CheckUpdateDialog dialog(card("Quorvale"));
        QPushButton* dontUpdate = button(dialog, "Don't Update");
        const int result = execWith(dialog, [&dialog, dontUpdate]() {
            QTest::keyPress(&dialog, Qt::Key_Control, Qt::ControlModifier);
            QCOMPARE(QGuiApplication::keyboardModifiers(), Qt::KeyboardModifiers(Qt::ControlModifier));
            dontUpdate->click();
        });
        QTest::keyRelease(&dialog, Qt::Key_Control);
        QCOMPARE(result, 2);
        QCOMPARE(QGuiApplication::keyboardModifiers(), Qt::KeyboardModifiers(Qt::NoModifier));
    }

    void cancelClickedReadsTheModifiersOfTheClick()
    {
        CheckUpdateDialog dialog(card("Quorvale"));
        const int result = execWith(dialog, [&dialog]() {
            QTest::mouseClick(button(dialog, "Don't Update"), Qt::LeftButton, Qt::ControlModifier);
        });
        QCOMPARE(result, 2);
        QCOMPARE(QGuiApplication::keyboardModifiers(), Qt::KeyboardModifiers(Qt::ControlModifier));
        QTest::mouseClick(&dialog, Qt::LeftButton, Qt::NoModifier);  // leave no modifier behind
    }

    void closedByTheWindowManagerReturns0()
    {
        CheckUpdateDialog dialog(card("Quorvale"));
        const int result = execWith(dialog, [&dialog]() { closeFromWindowManager(dialog); });
        QCOMPARE(result, 0);
        QVERIFY(!dialog.isVisible());
    }

    void closedByTheWindowManagerWithControlHeldStillReturns0()
    {
        CheckUpdateDialog dialog(card("Quorvale"));
        const int result = execWith(dialog, [&dialog]() {
            QTest::keyPress(&dialog, Qt::Key_Control, Qt::ControlModifier);
            closeFromWindowManager(dialog);
        });
        QTest::keyRelease(&dialog, Qt::Key_Control);
        QCOMPARE(result, 0);
    }

    void escapeReturns0()
    {
        CheckUpdateDialog dialog(card("Quorvale"));
        const int result = execWith(dialog, [&dialog]() { QTest::keyClick(&dialog, Qt::Key_Escape); });
        QCOMPARE(result, 0);
    }
};

QTEST_MAIN(CheckUpdateDialogTest)
#include "CheckUpdateDialogTest.moc"
