#include "workflows/settings_system.h"

#include "linux/linux_desktop.h"
#include "platform/mac_home_folder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

std::unique_ptr<SettingsSystem>& chosen() {
    static std::unique_ptr<SettingsSystem> system;
    return system;
}

bool fail(QString* error, const QString& message) {
    if (error)
        *error = message;
    return false;
}

// "--name VALUE" or "--name=VALUE" at index i; the value is null when absent.
bool takeOption(QStringList& arguments, qsizetype i, const QString& name, QString& value) {
    const QString& argument = arguments.at(i);
    if (argument.startsWith(name + u'=')) {
        value = argument.mid(name.size() + 1);
        arguments.removeAt(i);
        return true;
    }
    if (argument != name)
        return false;
    value = i + 1 < arguments.size() ? arguments.at(i + 1) : QString();
    arguments.remove(i, value.isNull() ? 1 : 2);
    return true;
}

QString absoluteFolder(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

// The macOS home folder named on the command line becomes the environment
// every other part of Sorvane (and every child program) reads.
bool chooseMacHome(const QString& home, const QString& systemRoot, QString* error) {
    if (home.isEmpty())
        return fail(error, u"--macos-home needs a folder"_s);
    if (!QFileInfo(home).isDir())
        return fail(error, u"--macos-home: %1 is not a folder"_s.arg(home));
    qputenv("HOME", QFile::encodeName(absoluteFolder(home)));
    if (!systemRoot.isNull()) {
        if (!QFileInfo(systemRoot).isDir())
            return fail(error, u"--system-root: %1 is not a folder"_s.arg(systemRoot));
        qputenv("SORVANE_SYSTEM_ROOT", QFile::encodeName(absoluteFolder(systemRoot)));
    }
    qputenv("SORVANE_SETTINGS", "macos");
    return true;
}

} // namespace

SettingsSystem& SettingsSystem::current() {
    // Programs that make no choice of their own (tests, helpers) follow the
    // environment their parent chose.
    if (!chosen()) {
        QStringList none;
        if (!chooseAtStartUp(none, nullptr))
            setCurrent(std::make_unique<LinuxDesktop>());
    }
    return *chosen();
}

void SettingsSystem::setCurrent(std::unique_ptr<SettingsSystem> system) {
    chosen() = std::move(system);
}

bool SettingsSystem::chooseAtStartUp(QStringList& arguments, QString* error) {
    QString home;
    QString systemRoot;
    for (qsizetype i = 0; i < arguments.size();) {
        if (takeOption(arguments, i, u"--macos-home"_s, home) ||
            takeOption(arguments, i, u"--system-root"_s, systemRoot))
            continue;
        ++i;
    }
    if (!home.isNull() && !chooseMacHome(home, systemRoot, error))
        return false;
    if (home.isNull() && !systemRoot.isNull())
        return fail(error, u"--system-root goes with --macos-home"_s);
    const QString settings = qEnvironmentVariable("SORVANE_SETTINGS");
    if (settings == u"macos"_s) {
        setCurrent(std::make_unique<MacHomeFolder>());
        return true;
    }
    if (!settings.isEmpty() && settings != u"linux"_s)
        return fail(error,
                    u"SORVANE_SETTINGS must be \"linux\" or \"macos\", not \"%1\""_s.arg(settings));
    setCurrent(std::make_unique<LinuxDesktop>());
    return true;
}

std::optional<std::pair<QString, QString>>
SettingsSystem::foreignPackageAlert(const QStringList& settingsTexts) const {
    const bool onLinux = dynamic_cast<const LinuxDesktop*>(this) != nullptr;
    const std::unique_ptr<SettingsSystem> other =
        onLinux ? std::unique_ptr<SettingsSystem>(std::make_unique<MacHomeFolder>())
                : std::unique_ptr<SettingsSystem>(std::make_unique<LinuxDesktop>());
    // A package of this system may hold a damaged text or two; one of the
    // other's holds none this system can read and at least one the other can.
    bool otherReadsOne = false;
    for (const QString& text : settingsTexts) {
        if (valuesOfSettingsText(text))
            return std::nullopt;
        otherReadsOne = otherReadsOne || other->valuesOfSettingsText(text).has_value();
    }
    if (!otherReadsOne)
        return std::nullopt;
    if (onLinux)
        return std::pair{u"This package holds macOS settings"_s,
                         u"It was made on a macOS home folder. Sorvane is working on this Linux "
                         u"desktop, which keeps its settings in another form, so nothing of the "
                         u"package can be deployed here."_s};
    return std::pair{u"This package holds Linux desktop settings"_s,
                     u"It was made on a Linux desktop. Sorvane is working on a macOS home "
                     u"folder, which keeps its settings in another form, so nothing of the "
                     u"package can be deployed here."_s};
}
