#include "controls/path_elision.h"

QString PathElision::fitted(const QFontMetrics& metrics, const QString& path, int width) {
    if (metrics.horizontalAdvance(path) <= width)
        return path;
    const qsizetype slash = path.lastIndexOf(u'/');
    if (slash > 0) {
        const QString file = path.mid(slash);
        const int folderWidth = width - metrics.horizontalAdvance(file);
        if (folderWidth >= 4 * metrics.averageCharWidth())
            return metrics.elidedText(path.left(slash), Qt::ElideMiddle, folderWidth) + file;
    }
    return metrics.elidedText(path, Qt::ElideMiddle, width);
}
