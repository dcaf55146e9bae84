#pragma once

class AppIconImageView;
class QImage;
class QUrl;

// Told which file was dropped or pasted onto an icon view, before the view
// shows the file's image.
class AppIconImageViewDelegate {
public:
    virtual ~AppIconImageViewDelegate() = default;

    virtual void appIconViewLoadedIconFromUrl(AppIconImageView* view, const QImage& icon,
                                              const QUrl& url) = 0;
};
