// The dialogs as real X windows (run under tests/support/run-with-xvfb.sh):
// what geometry and size hints a window manager gets, and screenshots of what
// a user sees, kept under $VANTORIX_ARTIFACTS_DIR/dialogs/.
#include "CheckUpdateDialog.h"
#include "DialogTestSupport.h"
#include "Device.h"
#include "MessageDialog.h"
#include "UpdateProgressDialog.h"

#include <QDir>
#include <QImage>
#include <QProcess>
#include <QProgressBar>
#include <QRegularExpression>
#include <QTest>

using namespace DialogTest;

namespace {

QString artifactsDir()
{
    return qEnvironmentVariable("VANTORIX_ARTIFACTS_DIR", QDir::tempPath()) + "/dialogs";
}

// Runs an X tool and returns what it printed; empty when it failed.
QString tool(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(20000) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0)
        return QString();
    return QString::fromLocal8Bit(process.readAllStandardOutput());
}

QSize matchSize(const QString& text, const QString& pattern)
{
    const QRegularExpressionMatch match = QRegularExpression(pattern).match(text);
    return match.hasMatch() ? QSize(match.captured(1).toInt(), match.captured(2).toInt()) : QSize();
}

// What the X server and a window manager know of one top-level window.
struct WindowFacts {
    QSize xwininfoSize;
    QSize xdotoolSize;
    QSize minimumHint;
    QSize maximumHint;
    QString normalHints;
    int motifFunctions = -1;  // what the window manager offers: 0x20 is "close"
    QString title;
    QString windowType;
    QImage screenshot;
};

WindowFacts inspect(QWidget& window, const QString& screenshotName)
{
    WindowFacts facts;
    const QString id = QString::number(window.winId());
    facts.xwininfoSize = matchSize(tool("xwininfo", {"-id", id}),
                                   "Width: (\\d+)\\s+Height: (\\d+)");
    facts.xdotoolSize = matchSize(tool("xdotool", {"getwindowgeometry", id}),
                                  "Geometry: (\\d+)x(\\d+)");
    facts.normalHints = tool("xprop", {"-id", id, "WM_NORMAL_HINTS"});
    facts.minimumHint = matchSize(facts.normalHints, "minimum size: (\\d+) by (\\d+)");
    facts.maximumHint = matchSize(facts.normalHints, "maximum size: (\\d+) by (\\d+)");
    const QString properties = tool("xprop", {"-id", id, "_MOTIF_WM_HINTS", "WM_NAME", "_NET_WM_WINDOW_TYPE"});
    const QRegularExpressionMatch motif =
        QRegularExpression("_MOTIF_WM_HINTS\\(_MOTIF_WM_HINTS\\) = 0x([0-9a-f]+), 0x([0-9a-f]+)").match(properties);
    if (motif.hasMatch())
        facts.motifFunctions = motif.captured(2).toInt(nullptr, 16);
    facts.title = QRegularExpression("WM_NAME\\(\\w+\\) = \"([^\"]*)\"").match(properties).captured(1);
    facts.windowType = QRegularExpression("_NET_WM_WINDOW_TYPE\\(ATOM\\) = (\\w+)").match(properties).captured(1);
    QDir().mkpath(artifactsDir());
    const QString file = artifactsDir() + "/" + screenshotName + ".png";
    QFile::remove(file);
    tool("import", {"-window", id, file});
    facts.screenshot = QImage(file);
    return facts;
}

// Waits until the window is on screen and painted.
bool settle(QWidget& window)
{
    if (!QTest::qWaitForWindowExposed(&window))
        return false;
    QTest::qWait(300);
    return true;
}

// Pixels of the icon that are fully opaque and show exactly in the shot at
// the icon label's place.
int matchingIconPixels(const QImage& shot, QLabel* icon)
{
    const QImage image = QImage(":/chip80.png").convertToFormat(QImage::Format_ARGB32);
    const QRect frame = icon->geometry();
    const QPoint origin = frame.topLeft()
        + QPoint((frame.width() - image.width()) / 2, (frame.height() - image.height()) / 2);
    int matching = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            if (qAlpha(pixel) == 255 && shot.valid(origin + QPoint(x, y))
                && (shot.pixel(origin + QPoint(x, y)) & 0xffffff) == (pixel & 0xffffff))
                ++matching;
        }
    return matching;
}

int opaqueIconPixels()
{
    const QImage image = QImage(":/chip80.png").convertToFormat(QImage::Format_ARGB32);
    int opaque = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            opaque += qAlpha(image.pixel(x, y)) == 255;
    return opaque;
}

// Every child widget lies inside the window.
bool nothingOutside(QWidget& window)
{
    for (QWidget* child : window.findChildren<QWidget*>())
        if (!window.rect().contains(child->geometry()))
            return false;
    return true;
}

}

class DialogWindowsTest : public QObject {
    Q_OBJECT

    // MWM_FUNC_CLOSE: the window manager offers to close the window.
    static constexpr int kMotifClose = 0x20;

    void checkFixedWindow(const WindowFacts& facts, QSize size, const QString& title, bool closable)
    {
        QCOMPARE(facts.title, title);
        QCOMPARE(facts.windowType, QString("_NET_WM_WINDOW_TYPE_DIALOG"));
        QVERIFY(facts.motifFunctions >= 0);
        QCOMPARE(bool(facts.motifFunctions & kMotifClose), closable);
        QCOMPARE(facts.xwininfoSize, size);
        QCOMPARE(facts.xdotoolSize, size);
        QVERIFY2(facts.normalHints.contains("program specified minimum size"), qPrintable(facts.normalHints));
        QCOMPARE(facts.minimumHint, size);
        QCOMPARE(facts.maximumHint, size);  // minimum == maximum: not resizable
        QCOMPARE(facts.screenshot.size(), size);
    }

    // The icon-and-message dialogs: icon shown whole, message not cut off.
    void checkMessageLayout(QDialog& dialog, const WindowFacts& facts)
    {
        QLabel* icon = iconLabel(dialog);
        QVERIFY(icon);
        QCOMPARE(matchingIconPixels(facts.screenshot, icon), opaqueIconPixels());
        QLabel* message = messageLabel(dialog);
        QVERIFY2(message->heightForWidth(message->width()) <= message->height(),
                 qPrintable(QString("message needs %1 px, has %2")
                                .arg(message->heightForWidth(message->width()))
                                .arg(message->height())));
        QVERIFY(nothingOutside(dialog));
        for (QPushButton* b : dialog.findChildren<QPushButton*>())
            QVERIFY(b->width() >= b->sizeHint().width());
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(qEnvironmentVariableIsSet("DISPLAY"), "run under tests/support/run-with-xvfb.sh");
        QCOMPARE(QGuiApplication::platformName(), QString("xcb"));
        QVERIFY2(!tool("xdotool", {"version"}).isEmpty(), "xdotool missing");
    }

    void updatePromptWindow()
    {
        Device device;
        device.name = "Quorvale 4K Pro";
        CheckUpdateDialog dialog(device);
        const int result = execWith(dialog, [&]() {
            QVERIFY(settle(dialog));
            const WindowFacts facts = inspect(dialog, "check-update-dialog");
            checkFixedWindow(facts, QSize(540, 150), "Vantorix Software Update", true);
            checkMessageLayout(dialog, facts);
            QVERIFY(button(dialog, "Update Now")->geometry().left()
                    > button(dialog, "Don't Update")->geometry().right());
            QTest::mouseClick(button(dialog, "Don't Update"), Qt::LeftButton, Qt::ControlModifier);
        }, 30000);
        QCOMPARE(result, 2);
    }

    void messageWindows_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("which");
        QTest::newRow("up-to-date") << "message-dialog-up-to-date" << 0;
        QTest::newRow("reboot-required") << "message-dialog-reboot-required" << 1;
        QTest::newRow("update-error") << "message-dialog-update-error" << 2;
    }

    void messageWindows()
    {
        QFETCH(QString, name);
        QFETCH(int, which);
        void (*const display[])() = {&MessageDialog::DisplayUpToDateMessage,
                                     &MessageDialog::DisplayRebootRequiredMessage,
                                     &MessageDialog::DisplayUpdateErrorMessage};
        bool checked = false;
        whenModal<MessageDialog>([&](MessageDialog* dialog) {
            QVERIFY(settle(*dialog));
            const WindowFacts facts = inspect(*dialog, name);
            checkFixedWindow(facts, QSize(540, 150), "Vantorix Software Update", true);
            checkMessageLayout(*dialog, facts);
            checked = true;
            QTest::keyClick(dialog, Qt::Key_Return);
        }, 30000);
        display[which]();
        QVERIFY(checked);
    }

    void progressWindow()
    {
        UpdateProgressDialog dialog{Device()};
        const int result = execWith(dialog, [&]() {
            dialog.updateProgress(99.9);
            QVERIFY(settle(dialog));
            const WindowFacts facts = inspect(dialog, "update-progress-dialog");
            checkFixedWindow(facts, QSize(602, 70), "Updating Software...", false);
            QVERIFY(nothingOutside(dialog));
            QLabel* warning = dialog.findChild<QLabel*>();
            QVERIFY2(warning->width() >= warning->sizeHint().width(),
                     qPrintable(QString("warning needs %1 px, has %2")
                                    .arg(warning->sizeHint().width()).arg(warning->width())));
            QCOMPARE(dialog.findChild<QProgressBar*>()->value(), 99);
            dialog.updateComplete(true);
        }, 30000);
        QCOMPARE(result, 1);
    }

    void wholeScreenWithAPrompt()
    {
        Device device;
        device.name = "<i>Quorvale</i> Duo";
        CheckUpdateDialog dialog(device);
        const int result = execWith(dialog, [&]() {
            QVERIFY(settle(dialog));
            QDir().mkpath(artifactsDir());
            const QString file = artifactsDir() + "/screen.png";
            QFile::remove(file);
            tool("import", {"-window", "root", file});
            QVERIFY(QImage(file).size().width() >= 540);
            QTest::mouseClick(button(dialog, "Update Now"), Qt::LeftButton);
        }, 30000);
        QCOMPARE(result, 1);
    }
};

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "xcb");
    // Widgets only: no GL integration (it would load the GL drivers).
    qputenv("QT_XCB_GL_INTEGRATION", "none");
    QApplication app(argc, argv);
    DialogWindowsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "DialogWindowsTest.moc"
