#pragma once

#include "platform/plist_value.h"

#include <QByteArray>
#include <QJsonObject>
#include <QMap>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// One run of the real sorvanectl.
struct CtlRun {
    int status = -1; // -1 when it crashed or did not finish
    QString out;
    QString err;
    qint64 elapsedMs = 0;
    QJsonObject json; // the parsed standard output of a --json run

    QStringList errLines() const;
};

// A sandbox for sorvanectl: a home folder and a system root (by default in a
// fresh temporary folder; the helper tests use the private bus's), Sorvane's
// resources replaced by small test catalogues and a test template of the
// self-deploying application, and the helper's bus pointed at a socket that
// does not exist unless a test gives a bus.
class CtlWorld {
public:
    CtlWorld();
    CtlWorld(const QString& home, const QString& systemRoot);

    QString home() const { return home_; }
    QString root() const { return root_; }
    QString homePath(const QString& relative) const { return home_ + u'/' + relative; }
    QString rootPath(const QString& relative) const { return root_ + u'/' + relative; }
    QString resources() const { return resources_.path(); }
    void setHelperBus(const QString& address) { helperBus_ = address; }
    void setResourcesDir(const QString& folder) { resourcesDir_ = folder; }

    CtlRun run(const QStringList& arguments) const;
    // Another program (that runs sorvanectl) in the same environment.
    CtlRun runThrough(const QStringList& command) const;
    // The same with --json, the document parsed (a test failure when it is not JSON).
    CtlRun runJson(QStringList arguments) const;

    QString makeFile(const QString& path, const QByteArray& content = "x") const;
    QString makeFolder(const QString& path) const;
    // <home>/Applications/<name>, a bundle with this identifier.
    QString makeApp(const QString& name, const QString& identifier) const;
    void writeDomain(const QString& domain, const PlistValue& dictionary) const;
    void writeRootDomain(const QString& domain, const PlistValue& dictionary) const;
    PlistValue readDomain(const QString& domain) const;
    bool domainExists(const QString& domain) const;

    // Every entry below the folder: relative path to kind, size and a hash of
    // the contents, so that two snapshots differ exactly when anything changed.
    static QMap<QString, QString> snapshot(const QString& folder);
    QMap<QString, QString> snapshot() const;

    static QByteArray contents(const QString& path);
    static PlistValue dict(const QList<QPair<QString, PlistValue>>& entries);
    static QString program();

private:
    void writeResources() const;
    CtlRun start(const QString& program, const QStringList& arguments) const;

    QTemporaryDir dir_;
    QTemporaryDir resources_;
    QTemporaryDir tmp_;
    QString home_;
    QString root_;
    QString helperBus_;
    QString resourcesDir_;
};
