#pragma once

#include <QList>
#include <QObject>
#include <QStringList>
#include <QUrl>

// One Sorvane per user session: the first instance owns Sorvane's name on
// the session bus, and a later start hands the files it was given to that
// instance instead of opening a second window. Without a session bus every
// start stands alone. Sorvanes that manage another system root (a mounted
// disk, the demo) take a name of their own, so they never swap files with
// the one that manages this machine.
class ApplicationInstance : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.brisvale.Sorvane.Application")

public:
    static const QString kObjectPath;

    // The bus name of the Sorvane that manages this system root.
    static QString serviceName();

    explicit ApplicationInstance(QObject* parent = nullptr);

    // Takes Sorvane's name on the session bus; false when another instance
    // has it (true, standing alone, when there is no session bus).
    bool becomePrimary();
    // Hands the files to the instance that owns the name; true when it took them.
    static bool sendToPrimary(const QList<QUrl>& files);

    // The local files named on a command line (relative paths against the
    // working folder).
    static QList<QUrl> filesFromArguments(const QStringList& arguments);

public Q_SLOTS:
    Q_SCRIPTABLE void OpenFiles(const QStringList& paths);

Q_SIGNALS:
    void filesOpened(const QList<QUrl>& files);
};
