#include "test_environment.h"

#include <QDir>
#include <QFile>

bool prepareTestEnvironment(const QTemporaryDir& scratch) {
    if (!scratch.isValid())
        return false;
    const auto folder = [&scratch](const char* name) {
        const QString path = scratch.filePath(QString::fromLatin1(name));
        QDir().mkpath(path);
        return QFile::encodeName(path);
    };
    // Every suite works on the macOS home folder unless a test chooses the
    // Linux desktop for itself.
    qputenv("SORVANE_SETTINGS", "macos");
    qputenv("HOME", folder("home"));
    qputenv("SORVANE_SYSTEM_ROOT", folder("root"));
    qputenv("XDG_CONFIG_HOME", folder("config"));
    qputenv("XDG_CACHE_HOME", folder("cache"));
    qputenv("XDG_DATA_HOME", folder("data"));
    qputenv("XDG_STATE_HOME", folder("state"));
    qputenv("XDG_RUNTIME_DIR", folder("runtime"));
    QFile::setPermissions(scratch.filePath(QStringLiteral("runtime")),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    // dconf reads the sandbox's own user database alone, never the
    // machine's profile and system databases.
    const QString profile = scratch.filePath(QStringLiteral("dconf-profile"));
    QFile profileFile(profile);
    if (profileFile.open(QIODevice::WriteOnly))
        profileFile.write("user-db:user\n");
    qputenv("DCONF_PROFILE", QFile::encodeName(profile));
    // No test reaches the desktop session the tests were started from: a
    // test that needs a session bus starts a private one.
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + folder("runtime") + "/no-session-bus");
    if (qEnvironmentVariableIsEmpty("SORVANE_BUILD_DIR"))
        qputenv("SORVANE_BUILD_DIR", SORVANE_TEST_BUILD_DIR);
    if (qEnvironmentVariableIsEmpty("SORVANE_SOURCE_DIR"))
        qputenv("SORVANE_SOURCE_DIR", SORVANE_TEST_SOURCES);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    return true;
}
