#include "desktop_user.h"

#include "scoped_environment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

const QList<QPair<const char*, QString>> kFolders = {
    {"XDG_CONFIG_HOME", u"/.config"_s}, {"XDG_DATA_HOME", u"/.local/share"_s},
    {"XDG_CACHE_HOME", u"/.cache"_s},   {"XDG_STATE_HOME", u"/.local/state"_s},
    {"XDG_RUNTIME_DIR", u"/.run"_s},
};

} // namespace

DesktopUser::DesktopUser(const QString& home, DconfBus::Service service, const QString& busFolder)
    : home_(home) {
    // dconf-service takes its folders from the bus that starts it.
    ScopedEnvironment environment;
    environment.set("HOME", home_);
    for (const auto& [name, suffix] : kFolders) {
        QDir().mkpath(home_ + suffix);
        environment.set(name, home_ + suffix);
    }
    QFile::setPermissions(home_ + u"/.run"_s,
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    if (!busFolder.isEmpty())
        environment.set("TMPDIR", busFolder);
    bus_ = std::make_unique<DconfBus>(service);
}

QProcessEnvironment DesktopUser::bareEnvironment(const QString& path) const {
    QProcessEnvironment environment;
    environment.insert(u"HOME"_s, home_);
    for (const auto& [name, suffix] : kFolders)
        environment.insert(QString::fromLatin1(name), home_ + suffix);
    environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, bus_->address());
    environment.insert(u"PATH"_s, path);
    environment.insert(u"LANG"_s, u"C.UTF-8"_s);
    if (!profile_.isEmpty())
        environment.insert(u"DCONF_PROFILE"_s, profile_);
    return environment;
}

ProgramRun DesktopUser::run(const QString& program, const QStringList& arguments,
                            const QProcessEnvironment& environment, const QByteArray& input,
                            const QString& inputFile) const {
    QProcess process;
    process.setProcessEnvironment(environment);
    if (!inputFile.isEmpty())
        process.setStandardInputFile(inputFile);
    process.start(program, arguments);
    if (inputFile.isEmpty()) {
        process.write(input);
        process.closeWriteChannel();
    }
    ProgramRun run;
    if (process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit)
        run.status = process.exitCode();
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

ProgramRun DesktopUser::dconf(const QStringList& arguments, const QByteArray& input) const {
    return run(u"/usr/bin/dconf"_s, arguments, bareEnvironment(), input);
}

QString DesktopUser::dump(const QString& directory) const {
    return dconf({u"dump"_s, directory}).out;
}

bool DesktopUser::writeFile(const QString& relative, const QByteArray& bytes) const {
    const QString path = home_ + u'/' + relative;
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray DesktopUser::readFile(const QString& relative) const {
    QFile file(home_ + u'/' + relative);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
