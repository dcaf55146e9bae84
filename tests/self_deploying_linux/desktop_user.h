#pragma once

#include "dconf_bus.h"

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <memory>

// What a program run did.
struct ProgramRun {
    int status = -1; // -1 when it did not start or did not exit normally
    QString out;
    QString err;
};

// One user of a Linux desktop in the sandbox: a home folder with its XDG
// folders and a session bus of its own, whose dconf-service (when it has one)
// writes that home's dconf database.
class DesktopUser {
public:
    // home is made; busFolder, when given, is where the bus's socket lives.
    DesktopUser(const QString& home, DconfBus::Service service, const QString& busFolder = {});

    bool isReady() const { return bus_->isRunning(); }
    QString home() const { return home_; }
    QString busAddress() const { return bus_->address(); }
    // Whether dconf reads a profile of its own (the sandbox's "user-db:user").
    void setDconfProfile(const QString& profile) { profile_ = profile; }

    // A desktop session's environment and nothing else: the home and XDG
    // folders, the bus, the dconf profile and PATH.
    QProcessEnvironment
    bareEnvironment(const QString& path = QStringLiteral("/usr/bin:/bin")) const;
    ProgramRun run(const QString& program, const QStringList& arguments,
                   const QProcessEnvironment& environment, const QByteArray& input = {},
                   const QString& inputFile = {}) const;
    ProgramRun dconf(const QStringList& arguments, const QByteArray& input = {}) const;
    QString dump(const QString& directory) const;

    // Files below the home, by home-relative path.
    bool writeFile(const QString& relative, const QByteArray& bytes) const;
    QByteArray readFile(const QString& relative) const;

private:
    QString home_;
    QString profile_;
    std::unique_ptr<DconfBus> bus_;
};
