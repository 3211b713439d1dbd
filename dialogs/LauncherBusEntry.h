// The launcher protocol spoken by the program itself, for desktops where the
// launcher library is not installed: the entry's Update signal on the
// session bus, carrying the same values the library would have been given.
#ifndef VANTORIX_LAUNCHERBUSENTRY_H
#define VANTORIX_LAUNCHERBUSENTRY_H

class QString;
class QVariant;

// Process-wide, like the library it stands in for. Every call is silent: no
// bus means nothing is sent and nothing is reported.
class LauncherBusEntry {
public:
    static const char* const kInterface;   // "com.canonical.Unity.LauncherEntry"
    static const char* const kSignal;      // "Update"
    static const char* const kObjectPath;  // the path our signals come from
    static const char* const kAppUri;      // "application://<desktop id>"

    // Connects to the session bus unless connected already; false when there
    // is no session bus to reach. Never starts a bus.
    static bool connect();
    static bool isConnected();

    static void setProgress(double fraction);
    static void setProgressVisible(bool visible);
    static void setUrgent(bool urgent);

    // The session bus address from the environment: $DBUS_SESSION_BUS_ADDRESS,
    // else the socket $XDG_RUNTIME_DIR/bus when it exists; empty otherwise.
    static QString sessionBusAddress();

private:
    static void send(const char* property, const QVariant& value);
};

#endif
