#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

class AlertPresenter;

// Builds a self-deploying package application: unzips the template bundle
// into a scratch folder, puts the package bytes inside it and moves it to
// the place the user chose. Each failure is told to the user with its own
// code; the codes are deliberately out of step order.
class SelfDeployingAssembler {
public:
    // templateZip: the "sdkv2.zip" resource (null when missing); scratch:
    // the temporary folder named after Sorvane's bundle identifier.
    SelfDeployingAssembler(AlertPresenter& alerts, QString templateZip, QString scratchFolder);

    // The template zip and scratch folder of the running Sorvane.
    static SelfDeployingAssembler forRunningApplication(AlertPresenter& alerts);

    bool assemble(const QByteArray& packageBytes, const QUrl& destination);

private:
    bool fail(int code);

    AlertPresenter& alerts_;
    QString templateZip_;
    QString scratchFolder_;
};
