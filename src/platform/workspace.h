#pragma once

#include <QList>
#include <QUrl>

// What the desktop does for Sorvane: revealing files in the file manager
// and opening pages with their default handler.
class Workspace {
public:
    // Shows the items selected in the desktop's file manager (its
    // org.freedesktop.FileManager1 interface on the session bus); where no
    // file manager answers, opens the folder that holds the first item.
    static bool activateFileViewerSelectingURLs(const QList<QUrl>& urls);
    static bool openURL(const QUrl& url);
};
