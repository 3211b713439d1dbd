#include "Main.h"

#include <QApplication>
#include <QStringList>
#include <csignal>

#include "CheckPass.h"
#include "SignalNotifier.h"

// notificationHandle is left unset: only daemon mode writes and reads it.
Main::Main(QApplication& app)
    : QObject(nullptr),
      application(app),
      updateManager(),
      terminateNotifier(nullptr),
      interruptNotifier(nullptr),
      hangupNotifier(nullptr),
      daemon(false),
      quiet(false)
{
}

// The notifiers belong to the application, which main destroys after us; the
// signal bridge itself stays until the process ends.
Main::~Main() = default;

void Main::parseArguments()
{
    const QStringList arguments = QCoreApplication::arguments();
    for (const QString& argument : arguments) {
        if (argument == QLatin1String("--quiet") || argument == QLatin1String("-q"))
            quiet = true;
        if (argument == QLatin1String("--daemon") || argument == QLatin1String("-d")) {
            daemon = true;
            quiet = true;
        }
    }
}

int Main::run()
{
    struct Wiring {
        int signalNumber;
        SignalNotifier* Main::*notifier;
    };
    static const Wiring kWiring[] = {
        {SIGTERM, &Main::terminateNotifier},
        {SIGINT, &Main::interruptNotifier},
        {SIGHUP, &Main::hangupNotifier},
    };
    for (const Wiring& wiring : kWiring) {
        this->*wiring.notifier = new SignalNotifier(wiring.signalNumber, &application);
        connect(this->*wiring.notifier, SIGNAL(raised()), &application, SLOT(quit()));
    }

    if (daemon)
        return CheckPass::runDaemonMode(application, updateManager, notificationHandle);
    return CheckPass::runNormalMode(updateManager, quiet);
}
