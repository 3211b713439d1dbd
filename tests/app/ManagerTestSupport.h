// Helpers for driving the update manager in process: hand-made open-device
// records, arrivals from a listener-like thread, and a scripted user who
// answers every modal dialog from inside its own loop.
#ifndef VANTORIX_MANAGER_TEST_SUPPORT_H
#define VANTORIX_MANAGER_TEST_SUPPORT_H

#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QPointer>
#include <QQueue>
#include <QStringList>
#include <QThread>
#include <QTimer>

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <thread>
#include <unistd.h>

#include "QuorvaleInstanceRec.h"
#include "UpdateManager.h"

namespace ManagerTest {

// An open-device record as the listener would hand it over, for node dv<unit>.
// It carries a real descriptor so that a test can see it being closed.
// `driverName` null makes the card's path unreadable.
struct FakeCard {
    QuorvaleInstanceRec* record;
    int fd;
};

inline FakeCard openCard(unsigned unit, const char* driverName = "Quorvale")
{
    auto* record = static_cast<QuorvaleInstanceRec*>(malloc(sizeof(QuorvaleInstanceRec)));
    memset(record, 0, sizeof *record);
    record->fd = open("/dev/null", O_RDWR);
    record->unitNumber = unit;
    record->driverName = driverName;
    return {record, record->fd};
}

inline bool isOpen(int fd)
{
    return fcntl(fd, F_GETFD) != -1;
}

// Hands the card to the manager's arrival callback on a thread of its own,
// the way the discovery listener does, and waits for the callback to return.
inline void arrive(UpdateManager& manager, QuorvaleInstanceRec* record)
{
    std::thread listener([&manager, record] { UpdateManager::DeviceArrived(record, &manager); });
    listener.join();
}

enum class Answer { UpdateNow, DontUpdate, IgnoreVersion };

// Watches for modal dialogs and answers them as a user would. Every dialog
// shown is logged: "prompt <name>", "progress", "message powercycle" /
// "message error" / "message uptodate".
class ScriptedUser : public QObject {
public:
    QStringList seen;
    QQueue<Answer> answers;
    QList<Qt::HANDLE> threads;  // the thread each dialog was shown on
    // Runs when a dialog is first seen, before it is answered.
    std::function<void(const QString& event)> onShown;

    ScriptedUser()
    {
        connect(&poll, &QTimer::timeout, this, &ScriptedUser::look);
        poll.start(10);
    }

private:
    QTimer poll;

    static QString messageKind(QDialog* dialog)
    {
        QString text;
        for (QLabel* label : dialog->findChildren<QLabel*>())
            text += label->text();
        if (text.contains(QLatin1String("Please Power Cycle")))
            return QStringLiteral("message powercycle");
        if (text.contains(QLatin1String("could not be upgraded")))
            return QStringLiteral("message error");
        if (text.contains(QLatin1String("up to date")))
            return QStringLiteral("message uptodate");
        return QStringLiteral("message ?") + text;
    }

    static QString promptName(QDialog* dialog)
    {
        for (QLabel* label : dialog->findChildren<QLabel*>()) {
            const QString text = label->text();
            const int start = text.indexOf(QLatin1String("Your "));
            const int end = text.indexOf(QLatin1String(" needs a software update"));
            if (start >= 0 && end > start)
                return text.mid(start + 5, end - start - 5);
        }
        return QString();
    }

    void look()
    {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible() || dialog->property("seenByUser").toBool())
            return;
        dialog->setProperty("seenByUser", true);
        const QString type = QString::fromLatin1(dialog->metaObject()->className());
        QString event;
        if (type == QLatin1String("CheckUpdateDialog"))
            event = QStringLiteral("prompt ") + promptName(dialog);
        else if (type == QLatin1String("UpdateProgressDialog"))
            event = QStringLiteral("progress");
        else
            event = messageKind(dialog);
        seen << event;
        threads << QThread::currentThreadId();
        if (onShown)
            onShown(event);
        QPointer<QDialog> guard(dialog);
        if (!guard)
            return;
        if (type == QLatin1String("CheckUpdateDialog")) {
            const Answer answer = answers.isEmpty() ? Answer::DontUpdate : answers.dequeue();
            if (answer == Answer::UpdateNow)
                dialog->accept();
            else if (answer == Answer::IgnoreVersion)
                dialog->done(2);
            else
                dialog->reject();
        } else if (type != QLatin1String("UpdateProgressDialog")) {
            dialog->accept();
        }
    }
};

}  // namespace ManagerTest

#endif
