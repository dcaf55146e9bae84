#pragma once

#include <QImage>
#include <QString>

class Bundle;

// The icon of a file as the desktop shows it: a bundle's own icon file from
// its resources (ICNS or PNG), else the icon theme's picture for the file's
// type, else a plain generic document. Icons are images so that the core can
// keep them and store them in packages without any widget.
class FileIcons {
public:
    // Never a null image.
    static QImage iconForFile(const QString& path);
    // The largest picture of the bundle's CFBundleIconFile; null when the
    // bundle names none or it cannot be read.
    static QImage bundleIcon(const Bundle& bundle);
    // The icon theme's picture for the file's type; null without a GUI
    // application (themes are a desktop session's business) or a match.
    static QImage themeIconForFile(const QString& path);
    static QImage genericIcon();

    static constexpr int kThemeIconSize = 128;
};
