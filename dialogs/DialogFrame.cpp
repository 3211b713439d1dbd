#include "DialogFrame.h"

#include <QDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QPixmap>
#include <QVBoxLayout>

namespace DialogFrame {

QLabel* messageLabel(const QString& text, QDialog* dialog)
{
    QLabel* label = new QLabel(text, dialog);
    label->setTextFormat(Qt::RichText);
    label->setWordWrap(true);
    return label;
}

QLabel* iconLabel(QDialog* dialog)
{
    QLabel* label = new QLabel(dialog);
    label->setPixmap(QPixmap(":/chip80.png"));
    return label;
}

QHBoxLayout* topRow(QLabel* icon, QLabel* message)
{
    QHBoxLayout* row = new QHBoxLayout();
    row->addWidget(icon);
    row->addWidget(message, 1);
    return row;
}

void finish(QDialog* dialog, QLayout* top, QLayout* buttons)
{
    QVBoxLayout* column = new QVBoxLayout();
    column->addLayout(top);
    column->addStretch(1);
    column->addSpacing(6);
    column->addLayout(buttons);
    dialog->setLayout(column);
    fixWindow(dialog, kMessageSize, kMessageFlags);
}

void fixWindow(QDialog* dialog, QSize size, unsigned flags)
{
    dialog->setSizeGripEnabled(false);
    dialog->setFixedSize(size);
    dialog->setWindowFlags(Qt::WindowFlags(static_cast<int>(flags)));
}

}
