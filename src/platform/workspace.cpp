#include "platform/workspace.h"

#include "util/logging.h"
#include "util/path_utils.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

bool showItemsInFileManager(const QList<QUrl>& urls)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    QStringList uris;
    for (const QUrl& url : urls)
        uris.append(url.toString());
    QDBusMessage call = QDBusMessage::createMethodCall(
        u"org.freedesktop.FileManager1"_s, u"/org/freedesktop/FileManager1"_s,
        u"org.freedesktop.FileManager1"_s, u"ShowItems"_s);
    call << uris << QString();
    const QDBusMessage reply = bus.call(call, QDBus::Block, 2000);
    return reply.type() == QDBusMessage::ReplyMessage;
}

} // namespace

bool Workspace::activateFileViewerSelectingURLs(const QList<QUrl>& urls)
{
    if (urls.isEmpty())
        return false;
    if (showItemsInFileManager(urls))
        return true;
    const QString folder = sv::stringByDeletingLastPathComponent(urls.first().toLocalFile());
    return openURL(QUrl::fromLocalFile(folder));
}

bool Workspace::openURL(const QUrl& url)
{
    const bool opened = QDesktopServices::openUrl(url);
    if (!opened)
        sv::log(u"Could not open %1"_s.arg(url.toString()));
    return opened;
}
