#include <QList>
#include <QtTest>

#include "Device.h"

class DeviceRecordTest : public QObject {
    Q_OBJECT

private slots:
    void defaultsMeanNothingToDo()
    {
        Device device;
        QVERIFY(device.name.isEmpty());
        QVERIFY(device.devicePath.isEmpty());
        QCOMPARE(device.updateRequired, false);
        QCOMPARE(int(device.statusFlags), 0);
    }

    void copyKeepsItsOwnValuesWhenSourceChanges()
    {
        Device source;
        source.name = QStringLiteral("Quorvale Duo");
        source.updateRequired = true;
        source.devicePath = QStringLiteral("/dev/vantorix/dv0");
        source.statusFlags = 0x1f;

        Device copy(source);
        Device assigned;
        assigned = source;
        // Copies share the text until one side changes.
        QCOMPARE(copy.name.constData(), source.name.constData());

        source.name += QStringLiteral(" changed");
        source.updateRequired = false;
        source.devicePath.clear();
        source.statusFlags = 0;

        for (const Device& kept : {copy, assigned}) {
            QCOMPARE(kept.name, QStringLiteral("Quorvale Duo"));
            QCOMPARE(kept.updateRequired, true);
            QCOMPARE(kept.devicePath, QStringLiteral("/dev/vantorix/dv0"));
            QCOMPARE(int(kept.statusFlags), 0x1f);
        }
    }

    void clearingAListReleasesEveryString()
    {
        QString name = QStringLiteral("Card ") + QString::number(7);  // heap text, refcount 1
        QString path = QStringLiteral("/dev/vantorix/dv") + QString::number(7);
        const QString::DataPtr nameData = name.data_ptr();
        const QString::DataPtr pathData = path.data_ptr();
        QCOMPARE(nameData->ref.atomic.loadRelaxed(), 1);
        {
            QList<Device> devices;
            for (int i = 0; i < 3; ++i) {
                Device device;
                device.name = name;
                device.devicePath = path;
                devices.append(device);
            }
            QCOMPARE(devices.size(), 3);
            QCOMPARE(nameData->ref.atomic.loadRelaxed(), 4);
            QCOMPARE(pathData->ref.atomic.loadRelaxed(), 4);
            devices.clear();
            QCOMPARE(devices.size(), 0);
            QCOMPARE(nameData->ref.atomic.loadRelaxed(), 1);
            QCOMPARE(pathData->ref.atomic.loadRelaxed(), 1);
        }
    }

    void listKeepsInsertionOrder()
    {
        QList<Device> devices;
        for (int i = 0; i < 4; ++i) {
            Device device;
            device.devicePath = QString::number(i);
            devices.append(device);
        }
        for (int i = 0; i < 4; ++i)
            QCOMPARE(devices.at(i).devicePath, QString::number(i));
    }
};

QTEST_GUILESS_MAIN(DeviceRecordTest)
#include "DeviceRecordTest.moc"
