#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <optional>

class AlertPresenter;

// Builds the Linux desktop's self-deploying package: a copy of Sorvane's
// sorvane-deploy-linux program with the package bytes and a trailer appended,
// written as one executable file, so that another desktop without Sorvane
// deploys the package by running it.
class SelfDeployingExecutable {
public:
    SelfDeployingExecutable(AlertPresenter& alerts, QString program);

    // The installed program of the running Sorvane.
    static SelfDeployingExecutable forRunningApplication(AlertPresenter& alerts);

    // Writes the file atomically with mode 0755; false after telling the user why.
    bool assemble(const QByteArray& packageBytes, const QUrl& destination);

    // The package a self-deploying file carries; nothing when the file is not one.
    static std::optional<QByteArray> packageIn(const QString& path);
    static std::optional<QByteArray> packageInBytes(const QByteArray& bytes);

private:
    bool fail(const QString& why);

    AlertPresenter& alerts_;
    QString program_;
};
