// The icon compiled into the program: registered by static initialisation,
// before main, with no init call anywhere in this program.
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QResource>
#include <QTest>
#include <QtEndian>

int qInitResources_CheckVersionPCIGui();
int qCleanupResources_CheckVersionPCIGui();

namespace {

// Read as the first thing main does, before any Qt object exists.
struct BeforeMain {
    bool exists = false;
    QByteArray bytes;
} g_beforeMain;

}

class EmbeddedIconTest : public QObject {
    Q_OBJECT

private slots:
    void registeredBeforeMain()
    {
        QVERIFY(g_beforeMain.exists);
        QVERIFY(!g_beforeMain.bytes.isEmpty());
    }

    void pngHeaderIs80By80Rgba8BitNotInterlaced()
    {
        const QByteArray& png = g_beforeMain.bytes;
        QVERIFY(png.size() > 33);
        QCOMPARE(png.left(8), QByteArray("\x89PNG\r\n\x1a\n", 8));
        QCOMPARE(png.mid(12, 4), QByteArray("IHDR"));
        const auto* ihdr = reinterpret_cast<const uchar*>(png.constData()) + 16;
        QCOMPARE(qFromBigEndian<quint32>(ihdr), 80u);      // width
        QCOMPARE(qFromBigEndian<quint32>(ihdr + 4), 80u);  // height
        QCOMPARE(int(ihdr[8]), 8);                          // bits per channel
        QCOMPARE(int(ihdr[9]), 6);                          // colour type: RGBA
        QCOMPARE(int(ihdr[12]), 0);                         // not interlaced
    }

    void decodesTo80By80WithAlpha()
    {
        QImage image(":/chip80.png");
        QVERIFY(!image.isNull());
        QCOMPARE(image.size(), QSize(80, 80));
        QVERIFY(image.hasAlphaChannel());
        QCOMPARE(qAlpha(image.pixel(79, 0)), 0);     // transparent corner
        QCOMPARE(qAlpha(image.pixel(40, 35)), 255);  // opaque card
    }

    void isTheCommittedPng()
    {
        QFile committed(qEnvironmentVariable("VANTORIX_TEST_ROOT") + "/../dialogs/chip80.png");
        QVERIFY(committed.open(QIODevice::ReadOnly));
        QCOMPARE(g_beforeMain.bytes, committed.readAll());
    }

    void storedUncompressedAtTheRoot()
    {
        QResource resource(":/chip80.png");
        QVERIFY(resource.isValid());
        QCOMPARE(resource.compressionAlgorithm(), QResource::NoCompression);
        QCOMPARE(resource.size(), qint64(g_beforeMain.bytes.size()));
        QVERIFY(QDir(":/").entryList().contains("chip80.png"));
    }

    void collectionCanBeUnregisteredAndRegisteredAgain()
    {
        QCOMPARE(qCleanupResources_CheckVersionPCIGui(), 1);
        QVERIFY(!QFile::exists(":/chip80.png"));
        QCOMPARE(qInitResources_CheckVersionPCIGui(), 1);
        QVERIFY(QFile::exists(":/chip80.png"));
    }
};

int main(int argc, char** argv)
{
    g_beforeMain.exists = QFile::exists(":/chip80.png");
    QFile file(":/chip80.png");
    if (file.open(QIODevice::ReadOnly))
        g_beforeMain.bytes = file.readAll();

    QApplication app(argc, argv);
    EmbeddedIconTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "EmbeddedIconTest.moc"
