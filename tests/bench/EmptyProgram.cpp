// The baseline of the idle daemon: a Qt program of the same ABI that runs its
// event loop and nothing else.
#include <QApplication>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    app.setQuitOnLastWindowClosed(false);
    return app.exec();
}
