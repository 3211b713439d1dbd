// The baseline of the time to the first dialog: a Qt program of the same ABI
// that does nothing but show an empty modal dialog.
#include <QApplication>
#include <QDialog>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QDialog dialog;
    dialog.setWindowTitle("Empty");
    return dialog.exec();
}
