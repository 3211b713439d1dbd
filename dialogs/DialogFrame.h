// The common build of the icon-and-message dialogs: all dialogs of the program
// look alike and share the same geometry.
#ifndef VANTORIX_DIALOGFRAME_H
#define VANTORIX_DIALOGFRAME_H

#include <QSize>
#include <Qt>

class QDialog;
class QHBoxLayout;
class QLabel;
class QLayout;
class QString;

namespace DialogFrame {

// The icon-and-message dialogs: 540 x 150, Qt::Dialog with minimise and close
// buttons.
constexpr QSize kMessageSize(540, 150);
constexpr unsigned kMessageFlags = 0x8004003;

// Rich text, wrapped inside the label.
QLabel* messageLabel(const QString& text, QDialog* dialog);

// The card icon at its natural size.
QLabel* iconLabel(QDialog* dialog);

// Icon, then the message taking all the width left.
QHBoxLayout* topRow(QLabel* icon, QLabel* message);

// Top row, a stretch, 6 pixels, the button row; then the fixed geometry and
// the window flags.
void finish(QDialog* dialog, QLayout* top, QLayout* buttons);

// No size grip, a fixed size and exactly the given window flags.
void fixWindow(QDialog* dialog, QSize size, unsigned flags);

}

#endif
