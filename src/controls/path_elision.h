#pragma once

#include <QFontMetrics>
#include <QString>

// How Sorvane's rows cut a path that is wider than its room. Long paths
// differ at their ends: the folders are cut in the middle, so that each row
// still shows its file's name whole where it fits.
class PathElision {
public:
    static QString fitted(const QFontMetrics& metrics, const QString& path, int width);
};
