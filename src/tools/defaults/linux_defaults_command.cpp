#include "linux_defaults_command.h"

#include "linux/dconf_domains.h"
#include "linux/flatpak_settings_keyfile.h"

using namespace Qt::StringLiterals;

namespace {

const QString usage = u"usage: defaults domains\n"
                      u"       defaults read domain\n"
                      u"       defaults write domain '<dconf key-file text>'\n"
                      u"       defaults delete domain\n"_s;

DefaultsCommand::Result failure(const QString& message) {
    return {1, {}, message.endsWith(u'\n') ? message : message + u'\n'};
}

DefaultsCommand::Result success(const QString& output = {}) {
    return {0, output.toUtf8(), {}};
}

// Every name with the Flatpak store's prefix is one, valid or not: it never
// falls through to a dconf directory of that name.
bool isFlatpakStore(const QString& name) {
    return name.startsWith(FlatpakSettingsKeyfile::prefix);
}

bool isDomain(const QString& name) {
    return isFlatpakStore(name) ? FlatpakSettingsKeyfile::isDomain(name)
                                : !DconfDomains::pathOfDomain(name).isEmpty();
}

DefaultsCommand::Result domains(const DconfDomains& dconf) {
    const std::optional<QStringList> names = dconf.userDomains();
    if (!names)
        return failure(u"dconf cannot be read"_s);
    return success((*names + FlatpakSettingsKeyfile::userDomains()).join(u", "_s) + u'\n');
}

DefaultsCommand::Result read(const DconfDomains& dconf, const QString& domain) {
    if (!isDomain(domain))
        return failure(u"%1 is not a domain"_s.arg(domain));
    const bool flatpak = isFlatpakStore(domain);
    const std::optional<QString> text =
        flatpak ? FlatpakSettingsKeyfile::read(domain) : dconf.read(domain);
    if (!text)
        return failure(flatpak ? u"%1 cannot be read"_s.arg(domain) : u"dconf cannot be read"_s);
    if (text->isEmpty())
        return failure(u"Domain %1 does not exist"_s.arg(domain));
    return success(*text);
}

DefaultsCommand::Result change(bool done, const QString& error) {
    return done ? success() : failure(error);
}

} // namespace

DefaultsCommand::Result LinuxDefaultsCommand::run(const QStringList& arguments) {
    const DconfDomains dconf;
    const QString verb = arguments.value(0);
    QString error;
    if (verb == u"domains"_s && arguments.size() == 1)
        return domains(dconf);
    if (verb == u"read"_s && arguments.size() == 2)
        return read(dconf, arguments.at(1));
    const bool flatpak = isFlatpakStore(arguments.value(1));
    if (verb == u"write"_s && arguments.size() == 3)
        return change(flatpak
                          ? FlatpakSettingsKeyfile::write(arguments.at(1), arguments.at(2), &error)
                          : dconf.write(arguments.at(1), arguments.at(2), &error),
                      error);
    if (verb == u"delete"_s && arguments.size() == 2)
        return change(flatpak ? FlatpakSettingsKeyfile::remove(arguments.at(1), &error)
                              : dconf.remove(arguments.at(1), &error),
                      error);
    return failure(usage);
}
