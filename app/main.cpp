#include <QApplication>

#include "Main.h"

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    // Each dialog closes on its own; that must never end the program.
    QApplication::setQuitOnLastWindowClosed(false);
    // Destroyed in reverse order: Main first, then the application (and with
    // it the signal notifiers, its children).
    Main program(application);
    program.parseArguments();
    return program.run();
}
