#include "search_command.h"

#include "application_lookup.h"
#include "command_line.h"
#include "ctl_output.h"
#include "ctl_session.h"
#include "found_item.h"

using namespace Qt::StringLiterals;

namespace {

const QString kCommand = u"search"_s;

void printSection(CtlOutput& out, const QString& title, const QList<FoundItem>& items) {
    out.line(u"%1 (%2):"_s.arg(title).arg(items.size()));
    for (const FoundItem& item : items)
        out.line(u"  "_s + item.text());
}

} // namespace

QString SearchCommand::help() {
    return uR"(Usage: sorvanectl search [--json] APP

Lists what cleaning APP would delete: its defaults domains (with their level,
"user" or "root"), its preference files and its caches, found exactly as the
desktop application finds them. APP is a desktop entry, a desktop-file ID or
an application's name on the Linux desktop, an application bundle on a macOS
home folder. Each item says why it was matched: the bundle identifier or
application ID, the application name, a KDE configuration file of the name,
the name less a suffix word, the saved-state rule, a path or search
expression or extra domain of the known-applications catalogue, and whether
it lies in the application's container (a sandbox container, a Flatpak's
~/.var/app/<ID> or a Snap's ~/snap/<name>).

Root's domains are found through the privileged helper; without it they are
left out, and a line on standard error says so.

Exit status: 0 when the search ran, 2 when APP names no application, or
several.)"_s;
}

int SearchCommand::run(const QStringList& arguments, CtlSession& session) {
    CtlOutput& out = session.out();
    CommandLine line({});
    if (!line.parse(arguments))
        return out.usage(kCommand, line.error());
    if (line.operands().size() != 1)
        return out.usage(kCommand, u"give one application"_s);
    session.setWithoutHelper(u"root's domains are not searched"_s);
    const auto found = ApplicationLookup::find(kCommand, line.operands().first(), session);
    if (!found)
        return out.finish(kCommand, CtlOutput::kUsage);

    const QList<FoundItem> domains = FoundItem::domains(found->results, found->reasons);
    const QList<FoundItem> preferences = FoundItem::preferenceFiles(found->results, found->reasons);
    const QList<FoundItem> caches = FoundItem::caches(found->results, found->reasons);
    out.line(found->heading());
    printSection(out, u"Defaults domains"_s, domains);
    printSection(out, u"Preference files"_s, preferences);
    printSection(out, u"Caches"_s, caches);
    return out.finish(kCommand, CtlOutput::kSuccess,
                      {{u"application"_s, found->applicationJson()},
                       {u"helper"_s, session.helperJson()},
                       {u"domains"_s, FoundItem::jsonArray(domains)},
                       {u"preferenceFiles"_s, FoundItem::jsonArray(preferences)},
                       {u"caches"_s, FoundItem::jsonArray(caches)}});
}
