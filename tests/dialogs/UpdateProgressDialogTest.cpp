// The progress dialog: its build, the bar, the refused close and the result.
#include <climits>
#include <cmath>
#include <limits>
#include "DialogTestSupport.h"
#include "Device.h"
#include "UpdateProgressDialog.h"

#include <QMetaMethod>
#include <QProgressBar>
#include <QTest>
#include <QVBoxLayout>

using namespace DialogTest;

namespace {

const char kWarning[] =
    "WARNING:  Do not shut down or unplug your computer until this update has completed!";

// Stands in for the updater client: the two signals the update manager
// connects to the dialog.
class Updater : public QObject {
    Q_OBJECT
signals:
    void updateProgress(double percent);
    void updateComplete(bool success);
};

QProgressBar* bar(QWidget& dialog)
{
    return dialog.findChild<QProgressBar*>();
}

}

class UpdateProgressDialogTest : public QObject {
    Q_OBJECT

    static int runUpdate(const QList<double>& percents, bool success, QList<int>* barValues)
    {
        Device device;
        device.name = "Quorvale";
        UpdateProgressDialog dialog(device);
        Updater updater;
        QObject::connect(&updater, SIGNAL(updateProgress(double)), &dialog, SLOT(updateProgress(double)));
        QObject::connect(&updater, SIGNAL(updateComplete(bool)), &dialog, SLOT(updateComplete(bool)));
        return execWith(dialog, [&]() {
            for (double percent : percents) {
                emit updater.updateProgress(percent);
                barValues->append(bar(dialog)->value());
            }
            emit updater.updateComplete(success);
        });
    }

private slots:
    void warningLabelIsRichTextWithoutWordWrap()
    {
        UpdateProgressDialog dialog{Device()};
        const QList<QLabel*> labels = dialog.findChildren<QLabel*>();
        QCOMPARE(labels.size(), 1);
        QCOMPARE(labels[0]->text(), QString(kWarning));
        QVERIFY(labels[0]->text().contains("WARNING:  Do"));
        QCOMPARE(labels[0]->textFormat(), Qt::RichText);
        QVERIFY(!labels[0]->wordWrap());
    }

    void deviceNameIsNotShown()
    {
        Device device;
        device.name = "Quorvale Secret Name";
        UpdateProgressDialog dialog(device);
        for (QLabel* label : dialog.findChildren<QLabel*>())
            QVERIFY(!label->text().contains("Secret"));
        QVERIFY(!dialog.windowTitle().contains("Secret"));
    }

    void layoutIsLabelThenBar()
    {
        UpdateProgressDialog dialog{Device()};
        auto* column = qobject_cast<QVBoxLayout*>(dialog.layout());
        QVERIFY(column);
        QCOMPARE(column->count(), 2);
        QVERIFY(itemWidget<QLabel>(column, 0));
        QCOMPARE(itemWidget<QProgressBar>(column, 1), bar(dialog));
    }

    void barRangeIs0To100()
    {
        UpdateProgressDialog dialog{Device()};
        QCOMPARE(bar(dialog)->minimum(), 0);
        QCOMPARE(bar(dialog)->maximum(), 100);
    }

    void sizeIsFixedAt602By70()
    {
        UpdateProgressDialog dialog{Device()};
        QCOMPARE(dialog.minimumSize(), QSize(602, 70));
        QCOMPARE(dialog.maximumSize(), QSize(602, 70));
        QVERIFY(!dialog.isSizeGripEnabled());
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QCOMPARE(dialog.size(), QSize(602, 70));
        dialog.resize(900, 300);
        QCOMPARE(dialog.size(), QSize(602, 70));
        QLabel* label = dialog.findChild<QLabel*>();
        qInfo("warning label: %d px wide, needs %d", label->width(), label->sizeHint().width());
    }

    void windowFlagsHaveNoCloseButton()
    {
        UpdateProgressDialog dialog{Device()};
        QCOMPARE(Qt::WindowFlags(0x2004003),
                 Qt::Dialog | Qt::WindowMinimizeButtonHint | Qt::CustomizeWindowHint);
        QCOMPARE(dialog.windowFlags(), flagsQtKeepsFor(0x2004003));
        QCOMPARE(int(dialog.windowFlags()), 0x2004003 | kQtAddedFlags);
        QVERIFY(!(dialog.windowFlags() & Qt::WindowCloseButtonHint));
    }

    void titleIsUpdatingSoftware()
    {
        UpdateProgressDialog dialog{Device()};
        QCOMPARE(dialog.windowTitle(), QString("Updating Software..."));
    }

    void metaObjectSlotsInOrder()
    {
        const QMetaObject* meta = &UpdateProgressDialog::staticMetaObject;
        QCOMPARE(meta->superClass(), &QDialog::staticMetaObject);
        QCOMPARE(meta->methodCount() - meta->methodOffset(), 2);
        QCOMPARE(meta->method(meta->methodOffset()).methodSignature(), QByteArray("updateProgress(double)"));
        QCOMPARE(meta->method(meta->methodOffset() + 1).methodSignature(), QByteArray("updateComplete(bool)"));
        QCOMPARE(meta->method(meta->methodOffset()).methodType(), QMetaMethod::Slot);
        QCOMPARE(meta->method(meta->methodOffset() + 1).methodType(), QMetaMethod::Slot);
    }

    void percentIsTruncatedTowardZero()
    {
        UpdateProgressDialog dialog{Device()};
        dialog.updateProgress(99.9);
        QCOMPARE(bar(dialog)->value(), 99);
        dialog.updateProgress(0.99);
        QCOMPARE(bar(dialog)->value(), 0);
        dialog.updateProgress(42.5);
        QCOMPARE(bar(dialog)->value(), 42);
        dialog.updateProgress(100.0);
        QCOMPARE(bar(dialog)->value(), 100);
    }

    void percentOutsideTheRangeGoesToTheBarUnchecked()
    {
        // The bar itself ignores values outside its range.
        UpdateProgressDialog dialog{Device()};
        dialog.updateProgress(30.0);
        dialog.updateProgress(150.0);
        QCOMPARE(bar(dialog)->value(), 30);
        dialog.updateProgress(-0.5);  // truncates to 0, inside the range
        QCOMPARE(bar(dialog)->value(), 0);
    }

    void barValueTruncatesEveryDoubleThatFitsAnInt()
    {
        QCOMPARE(progressBarValue(99.9), 99);
        QCOMPARE(progressBarValue(-0.5), 0);
        QCOMPARE(progressBarValue(-99.9), -99);
        QCOMPARE(progressBarValue(2147483647.0), INT_MAX);
        QCOMPARE(progressBarValue(2147483647.9), INT_MAX);
        QCOMPARE(progressBarValue(-2147483648.0), INT_MIN);
        QCOMPARE(progressBarValue(-2147483648.9), INT_MIN);
        QCOMPARE(progressBarValue(std::nextafter(2147483648.0, 0.0)), INT_MAX);
    }

    void barValueOfDoublesBeyondAnIntStopsAtItsLimits()
    {
        QCOMPARE(progressBarValue(2147483648.0), INT_MAX);
        QCOMPARE(progressBarValue(1e300), INT_MAX);
        QCOMPARE(progressBarValue(std::numeric_limits<double>::infinity()), INT_MAX);
        QCOMPARE(progressBarValue(-2147483649.0), INT_MIN);
        QCOMPARE(progressBarValue(-1e300), INT_MIN);
        QCOMPARE(progressBarValue(-std::numeric_limits<double>::infinity()), INT_MIN);
        QCOMPARE(progressBarValue(std::nan("")), 0);
        QCOMPARE(progressBarValue(-std::numeric_limits<double>::quiet_NaN()), 0);
    }

    void nanInfinityAndHugeValuesLeaveTheBarInRange()
    {
        UpdateProgressDialog dialog{Device()};
        dialog.updateProgress(30.0);
        dialog.updateProgress(1e300);
        QCOMPARE(bar(dialog)->value(), 30);
        dialog.updateProgress(-std::numeric_limits<double>::infinity());
        QCOMPARE(bar(dialog)->value(), 30);
        dialog.updateProgress(std::numeric_limits<double>::quiet_NaN());
        QCOMPARE(bar(dialog)->value(), 0);
        dialog.updateProgress(64.2);
        QCOMPARE(bar(dialog)->value(), 64);
    }

    void successfulUpdateReturns1()
    {
        QList<int> values;
        QCOMPARE(runUpdate({12.0, 50.5, 99.9}, true, &values), 1);
        QCOMPARE(values, (QList<int>{12, 50, 99}));
    }

    void failedUpdateReturns0()
    {
        QList<int> values;
        QCOMPARE(runUpdate({10.0}, false, &values), 0);
        QCOMPARE(values, QList<int>{10});
    }

    void updateEndingWithoutProgressReturnsItsOutcome()
    {
        QList<int> values;
        QCOMPARE(runUpdate({}, true, &values), 1);
        QCOMPARE(runUpdate({}, false, &values), 0);
    }

    void closeIsRefusedWhileUpdatingAndAcceptedAfter()
    {
        UpdateProgressDialog dialog{Device()};
        bool refusedEvent = false;
        bool stillVisible = false;
        const int result = execWith(dialog, [&]() {
            QCloseEvent direct;
            QCoreApplication::sendEvent(&dialog, &direct);
            refusedEvent = !direct.isAccepted();
            closeFromWindowManager(dialog);
            dialog.close();
            QCoreApplication::processEvents();
            stillVisible = dialog.isVisible();
            dialog.updateComplete(true);
        });
        QVERIFY(refusedEvent);
        QVERIFY(stillVisible);
        QCOMPARE(result, 1);  // the refused closes did not end it as rejected

        QCloseEvent after;
        QCoreApplication::sendEvent(&dialog, &after);
        QVERIFY(after.isAccepted());
    }

    void escapeWhileFlashingIsRefused()
    {
        // QDialog ends on Escape through reject() without a close event; while
        // flashing that would report a failure for a card still being written.
        UpdateProgressDialog dialog{Device()};
        bool stillOpen = false;
        const int result = execWith(dialog, [&]() {
            QTest::keyClick(&dialog, Qt::Key_Escape);
            QCoreApplication::processEvents();
            stillOpen = dialog.isVisible();
            dialog.updateComplete(true);
        });
        QVERIFY(stillOpen);
        QCOMPARE(result, 1);
    }

    void escapeAfterTheEndRejects()
    {
        UpdateProgressDialog dialog{Device()};
        dialog.updateComplete(true);
        const int result = execWith(dialog, [&]() { QTest::keyClick(&dialog, Qt::Key_Escape); });
        QCOMPARE(result, 0);
        QVERIFY(!dialog.isVisible());
    }

    void windowManagerCloseAfterTheEndIsAccepted()
    {
        UpdateProgressDialog dialog{Device()};
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        closeFromWindowManager(dialog);
        QVERIFY(dialog.isVisible());
        dialog.updateComplete(false);
        QCOMPARE(dialog.result(), 0);
        QVERIFY(!dialog.isVisible());
        dialog.show();
        closeFromWindowManager(dialog);
        QVERIFY(!dialog.isVisible());
    }
};

QTEST_MAIN(UpdateProgressDialogTest)
#include "UpdateProgressDialogTest.moc"
