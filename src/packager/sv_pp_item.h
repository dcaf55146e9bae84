#pragma once

#include <QByteArray>
#include <QDomNode>
#include <QImage>
#include <QList>
#include <QMap>
#include <QMutex>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <memory>
#include <optional>

// One row of the packager window: an operating-system component (from
// PackagerData.xml) or an application, with the defaults domains it packs or
// deploys. Items rebuilt from a package also carry the captured settings text
// per domain and the packed files. The window ticks items on the GUI thread
// while package work reads them on the thread pool, so the properties are
// guarded.
class SVPPItem {
public:
    using PrefsByDomain = QMap<QString, QString>;
    using FilesByPath = QMap<QString, QByteArray>;

    // The component items of Sorvane's PackagerData.xml sorted by name, or
    // nothing when the catalogue cannot be used.
    static std::optional<QList<std::shared_ptr<SVPPItem>>> loadData();
    // The same from any catalogue file.
    static std::optional<QList<std::shared_ptr<SVPPItem>>> loadDataFromFile(const QString& path);
    // An item for an application dropped on the window or chosen, ticked;
    // null unless the settings system takes the URL for an application with
    // an identifier (on a macOS home folder an ".app" bundle).
    static std::shared_ptr<SVPPItem> itemWithAppUrl(const QUrl& url);
    static std::shared_ptr<SVPPItem>
    itemWithComponent(const QString& name, const QString& description, const PrefsByDomain& prefs);
    static std::shared_ptr<SVPPItem> itemWithAppName(const QString& name, const QString& appId,
                                                     const QImage& icon, const PrefsByDomain& prefs,
                                                     const std::optional<FilesByPath>& files);
    // A component item from a `component` element; null for anything else.
    static std::shared_ptr<SVPPItem> initWithXml(const QDomNode& node);

    SVPPItem() = default;
    SVPPItem(const SVPPItem&) = delete;
    SVPPItem& operator=(const SVPPItem&) = delete;

    QStringList prefsDomains() const;
    void addDomain(const QString& domain);
    // The row checkbox's action: only a checked box ticks the item.
    void select(Qt::CheckState senderState);
    // The captured settings text of a domain; null when there is none.
    QString plistForDomain(const QString& domain) const;
    // The packed files' paths ("~" for the home folder); empty when none.
    QStringList extraFilePaths() const;
    bool hasAdditionalFiles() const;
    // The bytes packed for a path; nothing when the item holds no such file.
    std::optional<QByteArray> fileContentsForPath(const QString& path) const;

    bool enabled() const;
    void setEnabled(bool enabled);
    QString displayName() const;
    void setDisplayName(const QString& displayName);
    QString appId() const;
    void setAppId(const QString& appId);
    // The component's description; null for applications.
    QString description() const;
    void setDescription(const QString& description);
    QImage icon() const;
    void setIcon(const QImage& icon);

private:
    mutable QMutex mutex_;
    QStringList domains_;
    PrefsByDomain unpackedPrefsByDomain_;
    std::optional<FilesByPath> unpackedAdditionalFiles_;
    bool enabled_ = false;
    QString displayName_;
    QString description_;
    QString appId_;
    QImage icon_;
};
