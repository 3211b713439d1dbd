// The icon collection as the built program registers it: read from the
// program's own call of the registration, before its main runs.
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <cstring>

namespace {

struct Collection {
    quint32 version = 0;
    quint32 nodeCount = 0;
    QByteArray tree, names, data;
};

quint16 be16(const QByteArray& bytes, int at)
{
    return qFromBigEndian<quint16>(reinterpret_cast<const uchar*>(bytes.constData()) + at);
}

quint32 be32(const QByteArray& bytes, int at)
{
    return qFromBigEndian<quint32>(reinterpret_cast<const uchar*>(bytes.constData()) + at);
}

}  // namespace

class ResourceCollectionTest : public QObject {
    Q_OBJECT

    Collection collection;
    static constexpr int kNodeSize = 14;  // format 1

private slots:
    void initTestCase()
    {
        QTemporaryDir folder;
        QVERIFY(folder.isValid());
        const QString dumpPath = folder.filePath(QStringLiteral("collection"));
        QProcess program;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("LD_PRELOAD"), qEnvironmentVariable("VX_RESOURCE_DUMP_LIBRARY"));
        env.insert(QStringLiteral("VANTORIX_RESOURCE_DUMP"), dumpPath);
        program.setProcessEnvironment(env);
        program.start(qEnvironmentVariable("VX_PROGRAM"), QStringList{QStringLiteral("--quiet")});
        QVERIFY2(program.waitForFinished(20000), qPrintable(program.errorString()));
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 0);

        QFile file(dumpPath);
        QVERIFY2(file.open(QIODevice::ReadOnly), "the program registered no collection of its own");
        const QByteArray bytes = file.readAll();
        QVERIFY(bytes.size() >= 16);
        quint32 header[4];
        std::memcpy(header, bytes.constData(), sizeof header);
        collection.version = header[0];
        collection.nodeCount = header[1];
        QCOMPARE(collection.version, 1u);
        int at = 16;
        const int treeSize = int(collection.nodeCount) * kNodeSize;
        collection.tree = bytes.mid(at, treeSize);
        at += treeSize;
        collection.names = bytes.mid(at, int(header[2]));
        at += int(header[2]);
        collection.data = bytes.mid(at, int(header[3]));
        QCOMPARE(bytes.size(), at + int(header[3]));
    }

    void rootDirectoryHoldsOneFile()
    {
        QCOMPARE(collection.nodeCount, 2u);
        QCOMPARE(be16(collection.tree, 4), quint16(0x02));  // directory
        QCOMPARE(be32(collection.tree, 6), 1u);              // one child
        QCOMPARE(be32(collection.tree, 10), 1u);             // node 1
    }

    void fileNodeIsChip80UncompressedLanguageOne()
    {
        const int node = kNodeSize;
        QCOMPARE(be16(collection.tree, node + 4), quint16(0));  // a file, stored as it is
        QCOMPARE(be16(collection.tree, node + 6), quint16(0));  // country
        QCOMPARE(be16(collection.tree, node + 8), quint16(1));  // language: the neutral entry
        QCOMPARE(be32(collection.tree, node + 10), 0u);         // data offset

        const int name = int(be32(collection.tree, node));
        QCOMPARE(be16(collection.names, name), quint16(10));
        QCOMPARE(be32(collection.names, name + 2), 0x03be6947u);
        QString text;
        for (int i = 0; i < 10; ++i)
            text += QChar(be16(collection.names, name + 6 + 2 * i));
        QCOMPARE(text, QStringLiteral("chip80.png"));
    }

    void dataIsTheCommittedPng()
    {
        QFile committed(qEnvironmentVariable("VANTORIX_TEST_ROOT") + "/../dialogs/chip80.png");
        QVERIFY(committed.open(QIODevice::ReadOnly));
        const QByteArray png = committed.readAll();
        QCOMPARE(be32(collection.data, 0), quint32(png.size()));
        QCOMPARE(collection.data.mid(4), png);
    }
};

QTEST_GUILESS_MAIN(ResourceCollectionTest)

#include "ResourceCollectionTest.moc"
