// Helpers to drive modal dialogs from inside their own exec() loop.
#ifndef VANTORIX_DIALOGTESTSUPPORT_H
#define VANTORIX_DIALOGTESTSUPPORT_H

#include <QApplication>
#include <QCloseEvent>
#include <QBoxLayout>
#include <QDialog>
#include <QLabel>
#include <QPushButton>
#include <QTextDocument>
#include <QTimer>
#include <QWindow>

#include <functional>

namespace DialogTest {

// exec() result when the watchdog had to end a dialog nobody closed.
constexpr int kWatchdog = -99;

// Runs dialog.exec(); `action` runs once from inside the modal loop, with the
// dialog shown. A watchdog ends a dialog that the action left open.
inline int execWith(QDialog& dialog, std::function<void()> action, int watchdogMs = 20000)
{
    QTimer::singleShot(0, &dialog, [action]() { action(); });
    QTimer::singleShot(watchdogMs, &dialog, [&dialog]() { dialog.done(kWatchdog); });
    return dialog.exec();
}

// What the window manager does when the user closes the window: a close
// event delivered to the widget's native window.
inline void closeFromWindowManager(QWidget& widget)
{
    QCloseEvent event;
    QCoreApplication::sendEvent(widget.windowHandle(), &event);
}

// Waits, from a modal loop started later, for a modal dialog of type T and
// hands it to `action`.
template <typename T>
void whenModal(std::function<void(T*)> action, int watchdogMs = 20000)
{
    auto* poll = new QTimer();
    auto* elapsed = new int(0);
    QObject::connect(poll, &QTimer::timeout, [poll, elapsed, action, watchdogMs]() {
        T* dialog = qobject_cast<T*>(QApplication::activeModalWidget());
        *elapsed += poll->interval();
        if (dialog && dialog->isVisible()) {
            poll->stop();
            poll->deleteLater();
            delete elapsed;
            action(dialog);
        } else if (*elapsed > watchdogMs) {
            poll->stop();
            poll->deleteLater();
            delete elapsed;
            if (QWidget* other = QApplication::activeModalWidget())
                other->close();
        }
    });
    poll->start(10);
}

template <typename T>
T* itemWidget(QLayout* layout, int index)
{
    QLayoutItem* item = layout ? layout->itemAt(index) : nullptr;
    return item ? qobject_cast<T*>(item->widget()) : nullptr;
}

inline QBoxLayout* itemLayout(QLayout* layout, int index)
{
    QLayoutItem* item = layout ? layout->itemAt(index) : nullptr;
    return item ? qobject_cast<QBoxLayout*>(item->layout()) : nullptr;
}

// The text label of an icon-and-message dialog (the one with word wrap).
inline QLabel* messageLabel(QWidget& dialog)
{
    for (QLabel* label : dialog.findChildren<QLabel*>())
        if (label->pixmap(Qt::ReturnByValue).isNull())
            return label;
    return nullptr;
}

inline QLabel* iconLabel(QWidget& dialog)
{
    for (QLabel* label : dialog.findChildren<QLabel*>())
        if (!label->pixmap(Qt::ReturnByValue).isNull())
            return label;
    return nullptr;
}

// setWindowFlags() stores a normalised value: a window with customised
// title-bar buttons also gets a title and a system menu (Qt::WindowTitleHint
// and Qt::WindowSystemMenuHint), so windowFlags() reads back the requested
// value with those two bits added.
constexpr int kQtAddedFlags = Qt::WindowTitleHint | Qt::WindowSystemMenuHint;

// What windowFlags() reads back on a plain dialog after setWindowFlags(requested).
inline Qt::WindowFlags flagsQtKeepsFor(int requested)
{
    QDialog reference;
    reference.setWindowFlags(Qt::WindowFlags(requested));
    return reference.windowFlags();
}

inline QPushButton* button(QWidget& dialog, const QString& text)
{
    for (QPushButton* b : dialog.findChildren<QPushButton*>())
        if (b->text() == text)
            return b;
    return nullptr;
}

// The text as the user reads it: rich text rendered, tags gone.
inline QString renderedText(QLabel* label)
{
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QTextDocument document;
    document.setHtml(label->text());
    label->setSelection(0, document.toPlainText().size());
    return label->selectedText();
}

}

#endif
