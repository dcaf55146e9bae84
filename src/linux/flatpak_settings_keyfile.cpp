#include "linux/flatpak_settings_keyfile.h"

#include "linux/dconf_domains.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString kStore = u"/config/glib-2.0/settings/keyfile"_s;

// ~/.var/app, where Flatpak keeps each application's home data. HOME alone
// decides, as in Flatpak itself (and the defaults program stays small).
QString containers() {
    return QDir::homePath() + u"/.var/app"_s;
}

bool fail(QString* error, const QString& message) {
    if (error)
        *error = message;
    return false;
}

// Flatpak IDs are reverse-DNS names: nothing that could leave the folder.
bool isFlatpakId(const QString& id) {
    return !id.isEmpty() && !id.contains(u'/') && !id.startsWith(u'.') && id.contains(u'.');
}

} // namespace

bool FlatpakSettingsKeyfile::isDomain(const QString& name) {
    return name.startsWith(prefix) && isFlatpakId(name.mid(prefix.size()));
}

QString FlatpakSettingsKeyfile::domainOf(const QString& flatpakId) {
    return prefix + flatpakId;
}

QString FlatpakSettingsKeyfile::pathOf(const QString& domain) {
    if (!isDomain(domain))
        return {};
    return containers() + u'/' + domain.mid(prefix.size()) + kStore;
}

QStringList FlatpakSettingsKeyfile::userDomains() {
    QStringList domains;
    const QDir apps(containers());
    for (const QString& id : apps.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        if (isFlatpakId(id) && QFileInfo(apps.filePath(id) + kStore).size() > 0)
            domains.append(domainOf(id));
    }
    std::sort(domains.begin(), domains.end());
    return domains;
}

std::optional<QString> FlatpakSettingsKeyfile::read(const QString& domain) {
    QFile file(pathOf(domain));
    if (!file.exists())
        return QString();
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return QString::fromUtf8(file.readAll());
}

bool FlatpakSettingsKeyfile::write(const QString& domain, const QString& text, QString* error) {
    const QString path = pathOf(domain);
    if (path.isEmpty())
        return fail(error, u"%1 is not a domain"_s.arg(domain));
    // The same text a dconf domain takes, so the same check.
    if (!DconfDomains::valuesOfText(text))
        return fail(error, u"Cannot write %1: the text is not a settings key file"_s.arg(domain));
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0 || !file.commit())
        return fail(error, u"Cannot write %1: %2"_s.arg(domain, file.errorString()));
    return true;
}

bool FlatpakSettingsKeyfile::remove(const QString& domain, QString* error) {
    const QString path = pathOf(domain);
    if (path.isEmpty())
        return fail(error, u"%1 is not a domain"_s.arg(domain));
    QFile file(path);
    if (file.exists() && !file.remove())
        return fail(error, u"Cannot delete %1: %2"_s.arg(domain, file.errorString()));
    return true;
}
